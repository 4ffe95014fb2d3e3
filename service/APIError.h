#pragma once

#include <QString>

#include <exception>

// What the service client throws when the service answered but not with what was asked for.
class APIError final : public std::exception {
public:
    enum class Kind {
        httpError,       // a status outside 200-299: statusCode() and message()
        decodingError,   // 2xx, but the body is not the expected record: message() is the decoder's
        invalidResponse, // the address could not be formed, or the answer is not HTTP
    };

    static APIError httpError(int statusCode, QString message);
    static APIError decodingError(QString decoderMessage);
    static APIError invalidResponse();

    Kind kind() const { return m_kind; }
    int statusCode() const { return m_statusCode; }
    const QString& message() const { return m_message; }

    // The text shown to the user.
    QString errorDescription() const;
    const char* what() const noexcept override { return m_what.constData(); }

private:
    APIError(Kind kind, int statusCode, QString message);

    Kind m_kind;
    int m_statusCode = 0;
    QString m_message;
    QByteArray m_what;
};
