#include "platform/Task.h"

#include "platform/Log.h"

Task<> spawn(Task<> task, const char* what) {
    try {
        co_await std::move(task);
    } catch (const std::exception& error) {
        qCCritical(Log::session, "%s ended with an unexpected error: %s", what, error.what());
    }
}
