#ifndef PASSBRIDGE_PLATFORM_THREAD_ANNOTATIONS_H_
#define PASSBRIDGE_PLATFORM_THREAD_ANNOTATIONS_H_

// Annotations for clang's thread-safety analysis (-Wthread-safety). Other compilers see nothing.

#if defined(__clang__)
#define PASSBRIDGE_THREAD_ANNOTATION(x) __attribute__((x))
#else
#define PASSBRIDGE_THREAD_ANNOTATION(x)
#endif

// A class whose objects are locks; the text names the kind in diagnostics.
#define CAPABILITY(name) PASSBRIDGE_THREAD_ANNOTATION(capability(name))
// A class that holds a lock from its construction to its destruction.
#define SCOPED_CAPABILITY PASSBRIDGE_THREAD_ANNOTATION(scoped_lockable)

// A member that is touched only under the lock; the same for what a pointer member points to.
#define GUARDED_BY(lock) PASSBRIDGE_THREAD_ANNOTATION(guarded_by(lock))
#define PT_GUARDED_BY(lock) PASSBRIDGE_THREAD_ANNOTATION(pt_guarded_by(lock))

// A lock that is taken after (before) the others named.
#define ACQUIRED_AFTER(...) PASSBRIDGE_THREAD_ANNOTATION(acquired_after(__VA_ARGS__))
#define ACQUIRED_BEFORE(...) PASSBRIDGE_THREAD_ANNOTATION(acquired_before(__VA_ARGS__))

// A function that is called with the locks held (not held).
#define REQUIRES(...) PASSBRIDGE_THREAD_ANNOTATION(requires_capability(__VA_ARGS__))
#define EXCLUDES(...) PASSBRIDGE_THREAD_ANNOTATION(locks_excluded(__VA_ARGS__))

// A function that takes, tries to take (first argument: the result of success) or releases locks;
// without a lock named, the object itself.
#define ACQUIRE(...) PASSBRIDGE_THREAD_ANNOTATION(acquire_capability(__VA_ARGS__))
#define TRY_ACQUIRE(...) PASSBRIDGE_THREAD_ANNOTATION(try_acquire_capability(__VA_ARGS__))
#define RELEASE(...) PASSBRIDGE_THREAD_ANNOTATION(release_capability(__VA_ARGS__))

// A function that returns a reference to the lock.
#define RETURN_CAPABILITY(lock) PASSBRIDGE_THREAD_ANNOTATION(lock_returned(lock))
// A function whose body the analysis cannot follow; say why where it is used.
#define NO_THREAD_SAFETY_ANALYSIS PASSBRIDGE_THREAD_ANNOTATION(no_thread_safety_analysis)

#endif  // PASSBRIDGE_PLATFORM_THREAD_ANNOTATIONS_H_
