#pragma once

#include <QNetworkReply>
#include <QString>

#include <exception>

// A failure of the connection itself (refused, host not found, time-out, TLS, closed without an
// answer). It is not an APIError: callers show Qt's own description of it.
class TransportError final : public std::exception {
public:
    TransportError(QNetworkReply::NetworkError code, QString description);

    QNetworkReply::NetworkError code() const { return m_code; }
    const QString& errorDescription() const { return m_description; }
    const char* what() const noexcept override { return m_what.constData(); }

private:
    QNetworkReply::NetworkError m_code;
    QString m_description;
    QByteArray m_what;
};
