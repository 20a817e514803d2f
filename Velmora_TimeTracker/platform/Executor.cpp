#include "platform/Executor.h"

#include <QtGlobal>
#include <utility>

namespace {
thread_local Executor* runningExecutor = nullptr;
}

Executor* Executor::currentOrNull() {
    return runningExecutor;
}

Executor& Executor::current() {
    if (!runningExecutor)
        qFatal("Executor::current: the calling thread does not work for an executor");
    return *runningExecutor;
}

Executor::Scope::Scope(Executor* executor)
    : previous_(std::exchange(runningExecutor, executor)) {}

Executor::Scope::~Scope() {
    runningExecutor = previous_;
}
