// A small program for the tests of what happens to a whole process. It says in lines what it meets.

#include "LinuxPowerEvents.h"
#include "QtExecutor.h"
#include "SingleInstance.h"

#include <QCoreApplication>
#include <csignal>
#include <cstdio>
#include <sys/stat.h>

namespace {

void say(const char* line) {
    std::puts(line);
    std::fflush(stdout);
}

/// Lives until it is ended, and survives a broken pipe and a file that grew too large.
int awaitTheEnd(QCoreApplication& application, bool exitsByItself) {
    MainExecutor main;
    LinuxPowerEvents power(main, QDBusConnection("no such bus"));
    PowerEvents::Handlers handlers;
    handlers.willTerminate = [] { say("terminating"); };
    power.start(handlers);
    std::raise(SIGPIPE);
    std::raise(SIGXFSZ);
    main.post([=] {
        say("ready");
        if (exitsByItself)
            std::exit(3);
    });
    const int code = application.exec();
    say("ended");
    return code;
}

int beTheOne(QCoreApplication& application, const QString& folder) {
    umask(0);
    const auto instance = SingleInstance::acquire(folder);
    if (!instance) {
        say("second");
        return 0;
    }
    instance->onActivationRequested([] { say("activated"); });
    say("first");
    return application.exec();
}

} // namespace

/// "wait" or "exit", or "one" with a configuration folder.
int main(int argc, char** argv) {
    QCoreApplication application(argc, argv);
    const QStringList words = application.arguments();
    return argc > 2 ? beTheOne(application, words[2]) : awaitTheEnd(application, words.value(1) == "exit");
}
