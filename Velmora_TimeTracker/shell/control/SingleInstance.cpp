#include "shell/control/SingleInstance.h"

#include "platform/Log.h"
#include "platform/PrivateFiles.h"

#include <QCryptographicHash>
#include <QDeadlineTimer>
#include <QFile>
#include <QFileInfo>
#include <QLocalSocket>
#include <QThread>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {

struct Lock {
    int descriptor = -1;
    bool isHeldElsewhere = false; ///< False if the file cannot be opened.
};

Lock takeLock(const QString& path) {
    const int file = open(QFile::encodeName(path).constData(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600);
    if (file < 0)
        return {};
    if (flock(file, LOCK_EX | LOCK_NB) == 0)
        return {file};
    close(file);
    return {-1, true};
}

bool isThisUser(const QLocalSocket& socket) {
    ucred peer{};
    socklen_t size = sizeof peer;
    return getsockopt(static_cast<int>(socket.socketDescriptor()), SOL_SOCKET, SO_PEERCRED, &peer, &size) == 0 &&
           peer.uid == geteuid();
}

/// The connection itself is the request.
bool askToComeUp(const QString& socketPath) {
    QLocalSocket socket;
    socket.connectToServer(socketPath);
    return socket.waitForConnected(500) && isThisUser(socket);
}

} // namespace

std::unique_ptr<SingleInstance> SingleInstance::acquire(const QString& configurationFolder) {
    PrivateFiles::create(configurationFolder);
    const QString session = qEnvironmentVariable("XDG_RUNTIME_DIR");
    const QString runtimeFolder = QFileInfo(session).isDir() ? session : configurationFolder;
    const QByteArray key = QCryptographicHash::hash(configurationFolder.toUtf8(), QCryptographicHash::Sha256);
    const QString name = "/velmora-timetracker-" + QString::fromLatin1(key.toHex().first(16));
    const QString socket = runtimeFolder + name + ".socket";

    // The owner of the lock may not listen yet, or may be about to end.
    for (const QDeadlineTimer deadline(3000); !deadline.hasExpired(); QThread::msleep(20)) {
        // The lock is in the folder that it protects, so that every user of the folder uses the same lock; for a
        // read-only folder it is in the session's runtime folder.
        Lock lock = takeLock(configurationFolder + name + ".lock");
        if (lock.descriptor < 0 && !lock.isHeldElsewhere)
            lock = takeLock(runtimeFolder + name + ".lock");
        if (lock.descriptor >= 0)
            return std::unique_ptr<SingleInstance>(new SingleInstance(lock.descriptor, socket));
        if (askToComeUp(socket))
            return nullptr;
    }
    qCCritical(Log::session, "Another start of the program holds the user's data and does not answer");
    return nullptr;
}

SingleInstance::SingleInstance(int lock, const QString& socket)
    : lock_(lock) {
    QObject::connect(&server_, &QLocalServer::newConnection, &server_, [this] { accept(); });
    QLocalServer::removeServer(socket); // left by a crash; a live owner would hold the lock
    server_.setSocketOptions(QLocalServer::UserAccessOption);
    if (!server_.listen(socket))
        qCCritical(Log::session, "Later starts cannot be heard: %s", qUtf8Printable(server_.errorString()));
}

SingleInstance::~SingleInstance() {
    server_.close();
    close(lock_);
}

void SingleInstance::accept() {
    while (const std::unique_ptr<QLocalSocket> connection{server_.nextPendingConnection()})
        if (isThisUser(*connection) && handler_)
            handler_();
}
