#pragma once

#include <QProcess>
#include <csignal>
#include <memory>
#include <sys/prctl.h>

struct KillProgram {
    void operator()(QProcess* process) const {
        process->kill();
        process->waitForFinished();
        delete process;
    }
};
/// A program that serves a test, and ends with its owner or with the thread that started it.
using Program = std::unique_ptr<QProcess, KillProgram>;

/// Writes `input` to the program, and what the program says on its standard error to ours.
inline Program startProgram(const QString& command, const QByteArray& input = {}) {
    Program program(new QProcess);
    program->setProcessChannelMode(QProcess::ForwardedErrorChannel);
    program->setChildProcessModifier([] { prctl(PR_SET_PDEATHSIG, SIGKILL); });
    program->startCommand(command);
    program->write(input);
    program->closeWriteChannel();
    return program;
}

/// The first line that the program says; empty when it says none.
inline QByteArray firstLineOf(const Program& program) {
    while (!program->canReadLine() && program->waitForReadyRead(30000)) {
    }
    return program->readLine().trimmed();
}
