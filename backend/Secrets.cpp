#include "Secrets.h"

#include <QCryptographicHash>
#include <QRandomGenerator>
#include <QUuid>
#include <array>

namespace backend {

namespace {

template <std::size_t words>
QByteArray randomBytes() {
    std::array<quint32, words> drawn;
    QRandomGenerator::system()->fillRange(drawn.data(), words);
    return {reinterpret_cast<const char*>(drawn.data()), sizeof(drawn)};
}

} // namespace

QString randomToken() {
    return QString::fromLatin1(randomBytes<8>().toHex());
}

QString randomCode() {
    return QStringLiteral("%1").arg(QRandomGenerator::system()->bounded(1000000), 6, 10, QLatin1Char('0'));
}

QString randomUuid() {
    QByteArray bytes = randomBytes<4>();
    bytes[6] = static_cast<char>((bytes[6] & 0x0f) | 0x40);
    bytes[8] = static_cast<char>((bytes[8] & 0x3f) | 0x80);
    return QUuid::fromRfc4122(bytes).toString(QUuid::WithoutBraces).toUpper();
}

QString digestOf(const QByteArray& bytes) {
    return QString::fromLatin1(QCryptographicHash::hash(bytes, QCryptographicHash::Sha256).toHex());
}

} // namespace backend
