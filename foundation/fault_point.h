// Named fault points: places inside the engine where a test can make the
// next pass fail the way an allocation failure does (std::bad_alloc), to
// prove that such a failure comes back as a failure value with every lock
// released. Unarmed, a fault point costs one atomic load.
//
// Threads: arming and passing are thread-safe; a point fires once per arming.
#ifndef KS_FOUNDATION_FAULT_POINT_H_
#define KS_FOUNDATION_FAULT_POINT_H_

// The next ks_fault_point(name) with an equal name throws std::bad_alloc.
// Null disarms.
void ks_fault_arm(const char* name);
void ks_fault_point(const char* name);

#endif  // KS_FOUNDATION_FAULT_POINT_H_
