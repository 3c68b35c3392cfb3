package com.orvenco.android.vantrel.search.test;

import com.orvenco.android.vantrel.search.NativeHandler;
import java.lang.reflect.InvocationTargetException;
import java.lang.reflect.Method;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.Comparator;
import java.util.List;
import java.util.Objects;
import java.util.Set;
import java.util.TreeSet;
import java.util.concurrent.CompletableFuture;
import java.util.concurrent.ExecutorService;
import java.util.concurrent.Executors;
import java.util.regex.Matcher;
import java.util.regex.Pattern;
import java.util.stream.Stream;

/**
 * Runs one test, named "Class.method" on the command line, in this JVM; exits non-zero when it
 * fails. CTest runs every test in its own JVM under -Xcheck:jni and fails it on any JNI warning.
 */
public final class Harness {
    private Harness() {}

    public static void main(String[] args) throws Exception {
        String[] parts = args[0].split("\\.", 2);
        Class<?> cls = Class.forName(Harness.class.getPackageName() + "." + parts[0]);
        Method method = cls.getDeclaredMethod(parts[1], Path.class);
        method.setAccessible(true);
        Path dir = Files.createTempDirectory("kestrin-bridge-");
        try {
            method.invoke(null, dir);
        } catch (InvocationTargetException e) {
            e.getCause().printStackTrace();
            System.exit(1);
        } finally {
            NativeHandler.native_release_engine();
            try (Stream<Path> paths = Files.walk(dir)) {
                paths.sorted(Comparator.reverseOrder()).forEach(p -> p.toFile().delete());
            }
        }
        System.out.println("passed: " + args[0]);
    }

    static void check(boolean condition, String what) {
        if (!condition) {
            throw new AssertionError(what);
        }
    }

    static void checkEquals(Object expected, Object actual, String what) {
        if (!Objects.equals(expected, actual)) {
            throw new AssertionError(what + ": expected <" + expected + "> but was <" + actual + ">");
        }
    }

    /** Every result equals `expected`; a failure names the first one that does not. */
    static void checkAll(Object expected, String what, Object... results) {
        for (int i = 0; i < results.length; i++) {
            checkEquals(expected, results[i], what + " #" + i);
        }
    }

    /** Runs the jobs on threads of their own at once; rethrows the first failure. */
    static void inParallel(List<Runnable> jobs) {
        ExecutorService pool = Executors.newFixedThreadPool(jobs.size());
        CompletableFuture.allOf(jobs.stream().map(job -> CompletableFuture.runAsync(job, pool))
                .toArray(CompletableFuture[]::new)).join();
        pool.shutdown();
    }

    private static final Pattern PKEY_ARR = Pattern.compile("\"pkey_arr\":\\[([^\\]]*)\\]");
    private static final Pattern QUOTED = Pattern.compile("\"([^\"]*)\"");

    /** The primary keys of every table result of a JSON result text (none for null). */
    static Set<String> pkeys(String json) {
        Set<String> keys = new TreeSet<>();
        Matcher arrays = PKEY_ARR.matcher(json == null ? "" : json);
        while (arrays.find()) {
            QUOTED.matcher(arrays.group(1)).results().forEach(m -> keys.add(m.group(1)));
        }
        return keys;
    }
}
