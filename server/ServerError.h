#pragma once

#include <QString>

#include <exception>

// Every failure a handler can report. The status each kind answers with is decided in one table
// (httpStatus), so handlers name what went wrong, never a number.
enum class ErrorKind {
    badRequest,
    unauthorized,
    forbidden,
    notFound,
    methodNotAllowed,
    payloadTooLarge,
    tooManyRequests,
    internal,
    // The storage cannot be reached for now (its server restarts, a connection was lost); the
    // request may be repeated.
    unavailable,
};

int httpStatus(ErrorKind kind);

// Thrown by handlers and storage; the pipeline turns it into {"error": message} with its status.
class ServerError final : public std::exception {
public:
    ServerError(ErrorKind kind, QString message);

    ErrorKind kind() const { return m_kind; }
    const QString& message() const { return m_message; }
    const char* what() const noexcept override { return m_utf8.constData(); }

    static ServerError badRequest(const QString& message) { return {ErrorKind::badRequest, message}; }
    static ServerError notFound(const QString& message) { return {ErrorKind::notFound, message}; }

private:
    ErrorKind m_kind;
    QString m_message;
    QByteArray m_utf8;
};
