#include "TransportError.h"

using namespace Qt::StringLiterals;

TransportError::TransportError(QNetworkReply::NetworkError code)
    : TransportError(code, false) {}

TransportError::TransportError(QNetworkReply::NetworkError code, bool tooLarge)
    : m_code(code)
    , m_tooLarge(tooLarge)
    , m_what(errorDescription().toUtf8()) {}

TransportError TransportError::answerTooLarge() {
    return TransportError(QNetworkReply::UnknownContentError, true);
}

QString TransportError::errorDescription() const {
    return m_tooLarge ? u"Ответ сервера слишком велик"_s : descriptionOf(m_code);
}

QString TransportError::descriptionOf(QNetworkReply::NetworkError code) {
    switch (code) {
    case QNetworkReply::ConnectionRefusedError:
        return u"Сервер отклонил соединение"_s;
    case QNetworkReply::RemoteHostClosedError:
        return u"Сервер закрыл соединение, не закончив ответ"_s;
    case QNetworkReply::HostNotFoundError:
        return u"Сервер не найден"_s;
    case QNetworkReply::TimeoutError:
        return u"Сервер не ответил вовремя"_s;
    case QNetworkReply::OperationCanceledError:
        return u"Запрос отменён"_s;
    case QNetworkReply::SslHandshakeFailedError:
        return u"Не удалось установить защищённое соединение с сервером"_s;
    case QNetworkReply::TemporaryNetworkFailureError:
        return u"Соединение с сетью прервалось"_s;
    case QNetworkReply::NetworkSessionFailedError:
        return u"Сеть недоступна"_s;
    case QNetworkReply::TooManyRedirectsError:
        return u"Слишком много перенаправлений"_s;
    case QNetworkReply::InsecureRedirectError:
        return u"Сервер перенаправил запрос на незащищённый адрес"_s;
    case QNetworkReply::ProxyConnectionRefusedError:
        return u"Прокси-сервер отклонил соединение"_s;
    case QNetworkReply::ProxyConnectionClosedError:
        return u"Прокси-сервер закрыл соединение"_s;
    case QNetworkReply::ProxyNotFoundError:
        return u"Прокси-сервер не найден"_s;
    case QNetworkReply::ProxyTimeoutError:
        return u"Прокси-сервер не ответил вовремя"_s;
    case QNetworkReply::ProxyAuthenticationRequiredError:
        return u"Прокси-сервер требует авторизации"_s;
    case QNetworkReply::UnknownProxyError:
        return u"Ошибка прокси-сервера"_s;
    case QNetworkReply::ProtocolFailure:
        return u"Сервер ответил не по протоколу HTTP"_s;
    case QNetworkReply::ProtocolUnknownError:
        return u"Протокол адреса не поддерживается"_s;
    default:
        return u"Сбой сети"_s;
    }
}

QNetworkReply::NetworkError TransportError::codeOf(QAbstractSocket::SocketError error) {
    switch (error) {
    case QAbstractSocket::ConnectionRefusedError:
        return QNetworkReply::ConnectionRefusedError;
    case QAbstractSocket::RemoteHostClosedError:
        return QNetworkReply::RemoteHostClosedError;
    case QAbstractSocket::HostNotFoundError:
        return QNetworkReply::HostNotFoundError;
    case QAbstractSocket::SocketTimeoutError:
        return QNetworkReply::TimeoutError;
    // No route to the network or the host.
    case QAbstractSocket::NetworkError:
        return QNetworkReply::NetworkSessionFailedError;
    case QAbstractSocket::SslHandshakeFailedError:
    case QAbstractSocket::SslInternalError:
    case QAbstractSocket::SslInvalidUserDataError:
        return QNetworkReply::SslHandshakeFailedError;
    case QAbstractSocket::ProxyAuthenticationRequiredError:
        return QNetworkReply::ProxyAuthenticationRequiredError;
    case QAbstractSocket::ProxyConnectionRefusedError:
        return QNetworkReply::ProxyConnectionRefusedError;
    case QAbstractSocket::ProxyConnectionClosedError:
        return QNetworkReply::ProxyConnectionClosedError;
    case QAbstractSocket::ProxyConnectionTimeoutError:
        return QNetworkReply::ProxyTimeoutError;
    case QAbstractSocket::ProxyNotFoundError:
        return QNetworkReply::ProxyNotFoundError;
    case QAbstractSocket::ProxyProtocolError:
        return QNetworkReply::UnknownProxyError;
    case QAbstractSocket::TemporaryError:
        return QNetworkReply::TemporaryNetworkFailureError;
    default:
        return QNetworkReply::UnknownNetworkError;
    }
}
