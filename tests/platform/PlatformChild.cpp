// A small program for the tests of what happens to a whole process. It says in lines what it meets.

#include "LinuxPowerEvents.h"
#include "QtExecutor.h"
#include "SingleInstance.h"

#include <QCoreApplication>
#include <QFile>
#include <csignal>
#include <cstdio>
#include <sys/stat.h>

namespace {

void say(const char* line) {
    std::puts(line);
    std::fflush(stdout);
}

/// Lives until it is ended, and survives a broken pipe and a file that grew too large.
int awaitTheEnd(QCoreApplication& application) {
    MainExecutor main;
    LinuxPowerEvents power(main, QDBusConnection("no such bus"));
    PowerEvents::Handlers handlers;
    handlers.willTerminate = [] { say("terminating"); };
    power.start(handlers);
    std::raise(SIGPIPE);
    std::raise(SIGXFSZ);
    main.post([] { say("ready"); });
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

int main(int argc, char** argv) {
    QCoreApplication application(argc, argv);
    return argc > 1 ? beTheOne(application, QFile::decodeName(argv[1])) : awaitTheEnd(application);
}
