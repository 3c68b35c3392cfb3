#!/usr/bin/env bash
# The project's one test command: installs missing packages, then configures,
# builds and runs every test in these builds:
#   gcc    g++, warnings as errors, all tests (JVM and install tests included)
#   asan   clang++ with AddressSanitizer and UndefinedBehaviorSanitizer, all tests
#   tsan   clang++ with ThreadSanitizer, the *Concurrency test suites
#   fuzz   every libFuzzer program of tests/fuzz over its seed corpus for
#          KS_FUZZ_SECONDS (default 30) seconds each (tools/fuzz.sh)
#   arm    cross g++ for armhf (32-bit) and arm64, the GoogleTest suites under
#          qemu-user; `armhf` or `arm64` runs one of the two
# Usage: bash tools/test.sh [gcc|asan|tsan|fuzz|arm|armhf|arm64 ...]   (default: gcc asan tsan fuzz arm)
set -euo pipefail
cd "$(dirname "$0")/.."

jobs=${KS_JOBS:-2}
stages=("$@")
[ ${#stages[@]} -eq 0 ] && stages=(gcc asan tsan fuzz arm)

# The ARM stages also need the cross compilers and the targets' libraries.
cross=()
for s in "${stages[@]}"; do
  case $s in
    arm) cross+=(armhf arm64) ;;
    armhf|arm64) cross+=("$s") ;;
  esac
done
bash tools/install-deps.sh ${cross[@]+"${cross[@]}"}

export ASAN_OPTIONS=${ASAN_OPTIONS:-detect_leaks=1:abort_on_error=1:strict_string_checks=1}
export UBSAN_OPTIONS=${UBSAN_OPTIONS:-print_stacktrace=1:halt_on_error=1}
export TSAN_OPTIONS=${TSAN_OPTIONS:-halt_on_error=1:second_deadlock_stack=1}

run_stage() {
  local name=$1 filter=$2; shift 2
  local dir=build/$name start=$SECONDS
  echo "=== $name ==="
  cmake -S . -B "$dir" -G Ninja "$@"
  cmake --build "$dir" -j "$jobs"
  (cd "$dir" && ctest --output-on-failure -j "$jobs" $filter)
  echo "=== $name passed in $((SECONDS - start)) s ==="
}

# Under qemu every process start costs a second or more, so the kill-point
# test, which starts two per kill, runs fewer kills there than natively.
run_cross() {
  KS_KILLS=${KS_KILLS:-30} run_stage "$1" "" -DCMAKE_TOOLCHAIN_FILE="cmake/toolchains/$1.cmake" \
    -DCMAKE_BUILD_TYPE=Release -DKS_BUILD_BENCH=OFF
}

for s in "${stages[@]}"; do
  case $s in
    gcc)  run_stage gcc "" -DCMAKE_CXX_COMPILER=g++ -DCMAKE_C_COMPILER=gcc -DCMAKE_BUILD_TYPE=RelWithDebInfo ;;
    asan) run_stage asan "" -DCMAKE_CXX_COMPILER=clang++ -DCMAKE_C_COMPILER=clang -DCMAKE_BUILD_TYPE=Debug \
            -DKS_SANITIZE=address,undefined -DKS_BUILD_BENCH=OFF ;;
    tsan) run_stage tsan "-R Concurrency" -DCMAKE_CXX_COMPILER=clang++ -DCMAKE_C_COMPILER=clang -DCMAKE_BUILD_TYPE=RelWithDebInfo \
            -DKS_SANITIZE=thread -DKS_BUILD_BENCH=OFF ;;
    fuzz) echo "=== fuzz ==="
          for name in $(bash tools/fuzz.sh list); do
            bash tools/fuzz.sh "$name" "${KS_FUZZ_SECONDS:-30}"
          done ;;
    arm)  run_cross armhf; run_cross arm64 ;;
    armhf|arm64) run_cross "$s" ;;
    *) echo "unknown stage: $s" >&2; exit 2 ;;
  esac
done
echo "all test stages passed: ${stages[*]}"
