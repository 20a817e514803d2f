#include "backend/Secrets.h"

#include <QCryptographicHash>
#include <QRandomGenerator>
#include <array>

using namespace Qt::StringLiterals;

namespace backend {

QString randomToken() {
    std::array<quint32, 8> words;
    QRandomGenerator::system()->fillRange(words.data(), words.size());
    return QString::fromLatin1(QByteArray(reinterpret_cast<const char*>(words.data()), sizeof words).toHex());
}

QString randomCode() {
    return u"%1"_s.arg(QRandomGenerator::system()->bounded(1000000), 6, 10, QLatin1Char('0'));
}

QString digestOf(const QByteArray& bytes) {
    return QString::fromLatin1(QCryptographicHash::hash(bytes, QCryptographicHash::Sha256).toHex());
}

} // namespace backend
