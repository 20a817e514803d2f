#include "server/BackendSnackbarReporter.h"

#include "platform/Log.h"

void BackendSnackbarReporter::show(const QString& title, const QString& detail, bool isError) {
    const QByteArray entry = (title + u'\n' + detail).toUtf8();
    if (isError)
        qCCritical(Log::upload, "%s", entry.constData());
    else
        qCInfo(Log::upload, "%s", entry.constData());
}
