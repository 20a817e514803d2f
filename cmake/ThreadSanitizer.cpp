// What the thread sanitizer has to be told of libraries that are not built with it. Part of each executable of its
// preset.
//
// What the libraries do among themselves is left out. What our own code does is not, so the sanitizer is shown the two
// ways in which Qt orders one thread's work before another's: events, and the wait for a thread's end.

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QThread>
#include <cstdarg>
#include <dlfcn.h>
#include <sanitizer/tsan_interface.h>
#include <sys/types.h>

namespace {

template <typename Function>
Function* real(const char* symbol) {
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, symbol));
}

/// Called before each event's handler, in its thread; `data` begins with the receiver.
bool eventArrives(void** data) {
    __tsan_acquire(data[0]);
    return false;
}
[[maybe_unused]] const bool isListening = QInternal::registerCallback(QInternal::EventNotifyCallback, eventArrives);

} // namespace

extern "C" const char* __tsan_default_options() {
    return "ignore_noninstrumented_modules=1";
}

/// The end of a thread behind its event loop, before what follows its wait(): ordered by Qt, out of sight here.
extern "C" const char* __tsan_default_suppressions() {
    return "race:QtExecutor::Pump::stopTimers\n";
}

/// What happened before an event was posted has happened when its receiver gets it.
void QCoreApplication::postEvent(QObject* receiver, QEvent* event, int priority) {
    static auto* const post = real<void(QObject*, QEvent*, int)>("_ZN16QCoreApplication9postEventEP7QObjectP6QEventi");
    __tsan_release(receiver);
    post(receiver, event, priority);
}

/// What a thread did has happened when the wait for its end is over.
int QThread::exec() {
    static auto* const run = real<int(QThread*)>("_ZN7QThread4execEv");
    const int status = run(this);
    __tsan_release(this);
    return status;
}
bool QThread::wait(QDeadlineTimer deadline) {
    static auto* const waitFor = real<bool(QThread*, QDeadlineTimer)>("_ZN7QThread4waitE14QDeadlineTimer");
    const bool hasEnded = waitFor(this, deadline);
    __tsan_acquire(this);
    return hasEnded;
}

/// Qt starts programs by a clone that shares our memory until the program is loaded. The sanitizer's own clone takes
/// that for a fork and is of no use to the starting thread afterwards; the system's is below it.
extern "C" int __clone(int (*)(void*), void*, int, void*, ...);
extern "C" int clone(int (*function)(void*), void* stack, int flags, void* argument, ...) {
    va_list more;
    va_start(more, argument);
    auto* const parent = va_arg(more, pid_t*);
    auto* const storage = va_arg(more, void*);
    auto* const child = va_arg(more, pid_t*);
    va_end(more);
    return __clone(function, stack, flags, argument, parent, storage, child);
}
