#include "backend/Backend.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QFile>
#include <csignal>
#include <cstdio>
#include <stdexcept>
#include <sys/stat.h>

using namespace Qt::StringLiterals;

namespace {

QByteArray contentsOf(const QString& path) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        throw std::runtime_error("cannot read " + path.toStdString());
    return file.readAll();
}

/// Written whole under another name first: whoever waits for the file finds the port in it.
void writePortFile(const QString& path, int port) {
    const QString unfinished = path + u".part"_s;
    QFile file(unfinished);
    QFile::remove(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(QByteArray::number(port) + '\n') < 0 || !file.flush() ||
        !file.rename(path))
        throw std::runtime_error("cannot write " + path.toStdString());
}

int serveUntilSignal(const QCommandLineParser& arguments, const sigset_t& endSignals) {
    bool isNumber = false;
    const int port = arguments.value(u"port"_s).toInt(&isNumber);
    if (!isNumber || port < 0 || port > 65535)
        throw std::runtime_error("--port needs a number from 0 to 65535");
    if (!arguments.isSet(u"data"_s))
        throw std::runtime_error("--data is required");
    const QString configuration = arguments.value(u"config"_s);
    const backend::Backend server({.dataFolder = arguments.value(u"data"_s),
                                   .configuration = configuration.isEmpty() ? QByteArray() : contentsOf(configuration),
                                   .port = port});
    std::printf("velmora-backend: listening on %s\n", qPrintable(server.url()));
    std::printf("velmora-backend: a development tool, for this machine only; the employer's view is at that "
                "address\n");
    std::fflush(stdout);
    if (arguments.isSet(u"port-file"_s))
        writePortFile(arguments.value(u"port-file"_s), server.port());
    int received = 0;
    sigwait(&endSignals, &received);
    return 0;
}

} // namespace

int main(int argc, char** argv) {
    ::umask(077);
    // Blocked before any thread starts, so that the signals reach sigwait and nothing else.
    sigset_t endSignals;
    sigemptyset(&endSignals);
    for (const int number : {SIGTERM, SIGINT, SIGHUP})
        sigaddset(&endSignals, number);
    pthread_sigmask(SIG_BLOCK, &endSignals, nullptr);

    const QCoreApplication application(argc, argv);
    QCommandLineParser arguments;
    arguments.setApplicationDescription(u"Development backend of Velmora TimeTracker. Listens on 127.0.0.1 only."_s);
    arguments.addHelpOption();
    arguments.addOptions({{u"port"_s, u"Port; 0 picks a free one."_s, u"number"_s, u"0"_s},
                          {u"data"_s, u"Folder of the database and the screenshots."_s, u"folder"_s},
                          {u"config"_s, u"Accounts and companies; a built-in set without it."_s, u"file"_s},
                          {u"port-file"_s, u"File to write the port to."_s, u"file"_s}});
    arguments.process(application);
    try {
        return serveUntilSignal(arguments, endSignals);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "velmora-backend: %s\n", error.what());
        return 2;
    }
}
