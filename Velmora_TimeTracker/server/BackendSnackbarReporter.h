#pragma once

#include <QString>

/// Logs the outcome of every exchange with the backend. Main thread.
namespace BackendSnackbarReporter {
/// `title` and `detail` must have passed through LogRedactor where they hold a payload.
void show(const QString& title, const QString& detail, bool isError);
} // namespace BackendSnackbarReporter
