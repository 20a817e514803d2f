#pragma once

#include <QProcess>
#include <csignal>
#include <sys/prctl.h>

/// A program that serves a test, and ends with its owner or with the thread that started it.
class Program : public QProcess {
public:
    /// Writes `input` to the program, and what the program says on its standard error to ours.
    explicit Program(const QString& command, const QByteArray& input = {}) {
        setProcessChannelMode(ForwardedErrorChannel);
        setChildProcessModifier([] { prctl(PR_SET_PDEATHSIG, SIGKILL); });
        startCommand(command);
        write(input);
        closeWriteChannel();
    }
    ~Program() override { end(); }

    void end() {
        kill();
        waitForFinished();
    }
    /// The first line that the program says; empty when it says none.
    QByteArray firstLine() {
        while (!canReadLine() && waitForReadyRead(30000)) {
        }
        return readLine().trimmed();
    }
};
