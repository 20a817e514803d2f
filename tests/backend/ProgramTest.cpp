#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <gtest/gtest.h>
#include <httplib.h>

namespace {

struct Program {
    QProcess process;

    explicit Program(const QStringList& arguments) {
        process.start(QStringLiteral(BACKEND_PROGRAM), arguments);
    }
    ~Program() {
        process.kill();
        process.waitForFinished();
    }
    QByteArray errors() {
        process.waitForFinished(10000);
        return process.readAllStandardError();
    }
};

} // namespace

TEST(Program, TellsItsAddressFirstAndEndsCleanlyOnASignal) {
    const QTemporaryDir folder;
    const QString portFile = folder.filePath(u"port"_qs);
    Program program(
        {u"--port"_qs, u"0"_qs, u"--data"_qs, folder.filePath(u"data"_qs), u"--port-file"_qs, portFile});
    ASSERT_TRUE(program.process.waitForReadyRead(10000));
    const QByteArray line = program.process.readLine();
    const QByteArray prefix = "velmora-backend: listening on http://127.0.0.1:";
    ASSERT_TRUE(line.startsWith(prefix)) << line.toStdString();
    const int port = line.mid(prefix.size()).chopped(2).toInt();
    httplib::Client client("127.0.0.1", port);
    client.set_keep_alive(true);
    const auto page = client.Get("/");
    ASSERT_TRUE(page);
    EXPECT_NE(page->body.find("development"), std::string::npos);
    QFile file(portFile);
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    EXPECT_EQ(file.readAll().trimmed().toInt(), port);
    program.process.terminate();
    ASSERT_TRUE(program.process.waitForFinished(2000)) << "a kept connection held the end up";
    EXPECT_EQ(program.process.exitStatus(), QProcess::NormalExit);
    EXPECT_EQ(program.process.exitCode(), 0);
}

TEST(Program, RefusesWhatItCannotServe) {
    const QTemporaryDir folder;
    const QString data = folder.filePath(u"data"_qs);
    const QString broken = folder.filePath(u"broken.json"_qs);
    QFile file(broken);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write(
        R"({"companies":{},"accounts":[{"email":"a@b.example","password":"x","companies":["none"]}]})");
    file.close();
    const struct {
        QStringList arguments;
        const char* reason;
    } cases[] = {{{u"--data"_qs, data, u"--host"_qs, u"0.0.0.0"_qs}, "127.0.0.1 only"},
                 {{u"--data"_qs, data, u"--port"_qs, u"70000"_qs}, "--port"},
                 {{u"--port"_qs, u"0"_qs}, "--data"},
                 {{u"--data"_qs, data, u"--config"_qs, u"/nowhere.json"_qs}, "cannot read"},
                 {{u"--data"_qs, data, u"--config"_qs, broken}, "unknown company \"none\""}};
    for (const auto& each : cases) {
        Program program(each.arguments);
        const QByteArray errors = program.errors();
        EXPECT_TRUE(errors.contains(each.reason)) << errors.toStdString();
        EXPECT_EQ(program.process.exitCode(), 2);
    }
}
