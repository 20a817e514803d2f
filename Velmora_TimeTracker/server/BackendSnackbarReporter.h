#pragma once

#include <QString>

/// Where every exchange with the backend is reported: a log sink, nothing is shown. Main thread.
namespace BackendSnackbarReporter {
/// `title` and `detail` must have passed through LogRedactor where they hold a payload.
void show(const QString& title, const QString& detail, bool isError);
} // namespace BackendSnackbarReporter
