#pragma once

#include <QAbstractSocket>
#include <QNetworkReply>
#include <QString>

#include <exception>

// A failure of the connection itself: refused, closed or reset, host not found, time-out, TLS,
// network unreachable, an answer broken off before its end, or one too large to take. It is not an
// APIError: the service never answered in full. The text shown for it is the client's own Russian
// table, so it does not depend on any translation catalogue being installed.
class TransportError final : public std::exception {
public:
    explicit TransportError(QNetworkReply::NetworkError code);
    // An answer larger than the client takes (declared or as received).
    static TransportError answerTooLarge();

    QNetworkReply::NetworkError code() const { return m_code; }
    bool isAnswerTooLarge() const { return m_tooLarge; }
    QString errorDescription() const;
    const char* what() const noexcept override { return m_what.constData(); }

    // The Russian text for a failure of this kind; a general one for codes without their own.
    static QString descriptionOf(QNetworkReply::NetworkError code);
    // How a socket's failure reads as a failure of the request.
    static QNetworkReply::NetworkError codeOf(QAbstractSocket::SocketError error);

private:
    TransportError(QNetworkReply::NetworkError code, bool tooLarge);

    QNetworkReply::NetworkError m_code;
    bool m_tooLarge = false;
    QByteArray m_what;
};
