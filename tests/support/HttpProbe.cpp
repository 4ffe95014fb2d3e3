#include "HttpProbe.h"

#include <QEventLoop>
#include <QNetworkReply>

QByteArray ProbeReply::header(const QByteArray& name) const {
    for (const auto& [key, value] : headers) {
        if (key.compare(name, Qt::CaseInsensitive) == 0)
            return value;
    }
    return {};
}

ProbeReply probe(QNetworkAccessManager& network, const QByteArray& method, const QString& url, const QByteArray& body,
                 const QList<QPair<QByteArray, QByteArray>>& headers) {
    QNetworkRequest request{QUrl(url)};
    for (const auto& [name, value] : headers)
        request.setRawHeader(name, value);
    QNetworkReply* reply = network.sendCustomRequest(request, method, body);
    QEventLoop loop;
    QObject::connect(reply, &QNetworkReply::finished, &loop, &QEventLoop::quit);
    loop.exec();
    ProbeReply result;
    result.status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
    result.body = reply->readAll();
    result.headers = reply->rawHeaderPairs();
    reply->deleteLater();
    return result;
}
