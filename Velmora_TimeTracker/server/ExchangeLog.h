#pragma once

#include "platform/URLSession.h"

/// The log texts of the exchanges with the backend, with secrets removed. Any thread.
namespace ExchangeLog {

/// Logs method and path, and a JSON body of at most 2000 characters.
void logRequest(const URLRequest& request);

/// The outcome of an exchange as one entry with both payloads, of at most 6000 characters each.
struct Entry {
    QString title;
    QString detail;
    bool isError; ///< No response, or a status other than 2xx.
};
Entry entry(const URLRequest& request, const URLSession::Result& result);

/// Logs the outcome as one line, and the body of a response other than 2xx as another.
void logOutcome(const URLRequest& request, const URLSession::Result& result);

} // namespace ExchangeLog
