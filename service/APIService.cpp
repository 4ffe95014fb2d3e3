#include "APIService.h"

#include "APIError.h"
#include "DecodeError.h"
#include "HttpClient.h"
#include "HttpStatusPhrase.h"
#include "JsonValue.h"
#include "ServiceLog.h"
#include "TransportError.h"
#include "WorkerThread.h"

#include <QElapsedTimer>
#include <QJsonDocument>
#include <QNetworkAccessManager>

using namespace Qt::StringLiterals;

namespace {

const QString tokenKey = u"vexo_token"_s;

// Answers are decoded where they were received.
static_assert(simdjson::SIMDJSON_PADDING <= HttpExchange::bodyPadding);

// An error answer reads as the service's {"error": "…"} text when there is one, else the standard phrase.
QString errorMessage(const QByteArray& body, int statusCode) {
    const QJsonDocument document = QJsonDocument::fromJson(body);
    const QJsonValue error = document.isObject() ? document.object().value(u"error"_s) : QJsonValue();
    return error.isString() ? error.toString() : httpStatusPhrase(statusCode);
}

int defaultPort(const QUrl& url) {
    return url.scheme().compare(u"https"_s, Qt::CaseInsensitive) == 0 ? 443 : 80;
}

QString idText(qint64 id) {
    return QString::number(id);
}

template <class T, class Read> T decodeSingleKey(JsonValue& value, const char* key, Read&& read) {
    T result;
    RequiredKeys required;
    value.forEachField([&](std::string_view name, JsonValue& field) {
        if (name == key) {
            read(result, field);
            required.seen(0);
        }
    });
    const char* const names[] = {key};
    required.require(value.path(), names);
    return result;
}

} // namespace

APIService::Empty APIService::Empty::fromJson(JsonValue& value) {
    return decodeSingleKey<Empty>(value, "success",
                                  [](Empty& empty, JsonValue& field) { empty.success = field.toBool(); });
}

APIService::FolderResp APIService::FolderResp::fromJson(JsonValue& value) {
    return decodeSingleKey<FolderResp>(
        value, "folder", [](FolderResp& resp, JsonValue& field) { resp.folder = Folder::fromJson(field); });
}

APIService::UsersResp APIService::UsersResp::fromJson(JsonValue& value) {
    return decodeSingleKey<UsersResp>(
        value, "users", [](UsersResp& resp, JsonValue& field) { resp.users = decodeList<AdminUser>(field); });
}

APIService::APIService(QString base, QNetworkAccessManager& network, const KeyValueStore& store,
                       std::chrono::milliseconds timeout, qint64 maxAnswerBytes)
    : m_base(std::move(base))
    , m_store(store)
    , m_timeout(timeout)
    , m_maxAnswerBytes(maxAnswerBytes)
    , m_client(std::make_unique<HttpClient>(network)) {}

APIService::~APIService() = default;

void APIService::abortPending() const {
    m_client->abortAll();
}

QString APIService::configuredBase() {
    QString base = qEnvironmentVariable("VEXO_BASE_URL");
    if (base.isEmpty())
        base = QStringLiteral(VEXO_BASE_URL);
    while (base.endsWith(u'/'))
        base.chop(1);
    return base;
}

QCoro::Task<QByteArray> APIService::send(QString path, QString method, std::optional<QJsonObject> body,
                                         bool authorized) const {
    co_return co_await sendTo(QUrl(m_base + path, QUrl::StrictMode), std::move(method), std::move(body), authorized);
}

QCoro::Task<QByteArray> APIService::sendTo(QUrl url, QString method, std::optional<QJsonObject> body,
                                           bool authorized) const {
    HttpResponse response = co_await exchange(std::move(url), std::move(method), std::move(body), authorized);
    const int statusCode = response.statusCode;
    if (statusCode >= 200 && statusCode <= 299)
        co_return std::move(response.body);
    throw APIError::httpError(statusCode, errorMessage(response.body, statusCode));
}

QCoro::Task<HttpResponse> APIService::exchange(QUrl url, QString method, std::optional<QJsonObject> body,
                                               bool authorized,
                                               QList<QPair<QByteArray, QByteArray>> extraHeaders) const {
    const QString scheme = url.scheme().toLower();
    if (!url.isValid() || url.host().isEmpty() || (scheme != u"http"_s && scheme != u"https"_s))
        throw APIError::invalidResponse();
    const QString path = url.path();

    OutgoingRequest request;
    request.url = std::move(url);
    request.method = method.toLatin1();
    request.headers.append({QByteArray("Content-Type"), QByteArray("application/json")});
    if (authorized) {
        if (const auto token = m_store.text(tokenKey))
            request.headers.append({QByteArray("Authorization"), "Bearer " + token->toUtf8()});
    }
    request.headers.append(extraHeaders);
    if (body)
        request.body = QJsonDocument(*body).toJson(QJsonDocument::Compact);

    QElapsedTimer clock;
    clock.start();
    // Nothing of this object is touched once the answer is in: the last requests may end while the
    // service is being destroyed.
    HttpResponse response;
    try {
        response = co_await m_client->send(std::move(request), m_timeout, m_maxAnswerBytes);
    } catch (const TransportError& error) {
        qCInfo(lcService) << method << path << "failed:" << error.code() << clock.elapsed() << "ms";
        throw;
    }
    qCDebug(lcService) << method << path << response.statusCode << clock.elapsed() << "ms";
    co_return response;
}

template <class T>
QCoro::Task<T> APIService::request(QString path, QString method, std::optional<QJsonObject> body,
                                   bool authorized) const {
    QByteArray answer = co_await send(std::move(path), std::move(method), std::move(body), authorized);
    if (answer.size() < decodeOnWorkerFromBytes)
        co_return decodeHere<T>(answer);
    const QFuture<T> decoded = decodeOnWorker<T>(std::move(answer));
    T value = co_await decoded;
    dropStoredResult(decoded);
    co_return value;
}

template <class T> T APIService::decodeHere(const QByteArray& answer) {
    try {
        return decodeJson<T>(answer);
    } catch (const DecodeError& error) {
        throw APIError::decodingError(error.message());
    }
}

template <class T> QFuture<T> APIService::decodeOnWorker(QByteArray answer) {
    return onWorkerThread([answer = std::move(answer)] { return decodeHere<T>(answer); });
}

template QCoro::Task<AuthResponse> APIService::request(QString, QString, std::optional<QJsonObject>, bool) const;
template QCoro::Task<TasksResponse> APIService::request(QString, QString, std::optional<QJsonObject>, bool) const;
template QCoro::Task<TaskResponse> APIService::request(QString, QString, std::optional<QJsonObject>, bool) const;
template QCoro::Task<FoldersResponse> APIService::request(QString, QString, std::optional<QJsonObject>, bool) const;
template QCoro::Task<AttachmentsResponse> APIService::request(QString, QString, std::optional<QJsonObject>, bool) const;
template QCoro::Task<ApiKeyResponse> APIService::request(QString, QString, std::optional<QJsonObject>, bool) const;
template QCoro::Task<UserSettings> APIService::request(QString, QString, std::optional<QJsonObject>, bool) const;
template QCoro::Task<UserStats> APIService::request(QString, QString, std::optional<QJsonObject>, bool) const;
template QCoro::Task<AdminStats> APIService::request(QString, QString, std::optional<QJsonObject>, bool) const;
template QCoro::Task<APIService::Empty> APIService::request(QString, QString, std::optional<QJsonObject>, bool) const;
template QCoro::Task<APIService::FolderResp> APIService::request(QString, QString, std::optional<QJsonObject>,
                                                                 bool) const;
template QCoro::Task<APIService::UsersResp> APIService::request(QString, QString, std::optional<QJsonObject>,
                                                                bool) const;

QCoro::Task<AuthResponse> APIService::verifyKey(QString key) const {
    return request<AuthResponse>(u"/api/auth/verify"_s, u"POST"_s, QJsonObject{{u"key"_s, key}}, false);
}

QString APIService::tasksQuery(bool archived, std::optional<TaskStatus> status, std::optional<qint64> folderId) {
    QString query = u"archived="_s + (archived ? u"true"_s : u"false"_s);
    if (status)
        query += u"&status="_s + rawValue(*status);
    if (folderId)
        query += u"&folderId="_s + idText(*folderId);
    return query;
}

QCoro::Task<TasksResponse> APIService::fetchTasks(bool archived, std::optional<TaskStatus> status,
                                                  std::optional<qint64> folderId, Arrived arrived) const {
    QByteArray answer =
        co_await send(u"/api/tasks?"_s + tasksQuery(archived, status, folderId), u"GET"_s, std::nullopt, true);
    if (arrived)
        arrived();
    if (answer.size() < decodeOnWorkerFromBytes)
        co_return decodeHere<TasksResponse>(answer);
    const QFuture<TasksResponse> decoded = decodeOnWorker<TasksResponse>(std::move(answer));
    TasksResponse value = co_await decoded;
    dropStoredResult(decoded);
    co_return value;
}

QCoro::Task<TaskResponse> APIService::createTask(QString title, TaskPriority priority,
                                                 std::optional<QString> description,
                                                 std::optional<QString> deadline) const {
    QJsonObject body{{u"title"_s, title}, {u"priority"_s, rawValue(priority)}};
    if (description && !description->isEmpty())
        body.insert(u"description"_s, *description);
    if (deadline && !deadline->isEmpty())
        body.insert(u"deadline"_s, *deadline);
    return request<TaskResponse>(u"/api/tasks"_s, u"POST"_s, body, true);
}

QCoro::Task<TaskResponse> APIService::updateTask(qint64 id, TaskUpdate update) const {
    QJsonObject body;
    if (update.title)
        body.insert(u"title"_s, *update.title);
    if (update.description)
        body.insert(u"description"_s, *update.description);
    if (update.deadline)
        body.insert(u"deadline"_s,
                    update.deadline->isEmpty() ? QJsonValue(QJsonValue::Null) : QJsonValue(*update.deadline));
    if (update.priority)
        body.insert(u"priority"_s, rawValue(*update.priority));
    if (update.status)
        body.insert(u"status"_s, rawValue(*update.status));
    if (update.folderId)
        body.insert(u"folderId"_s, *update.folderId);
    return request<TaskResponse>(u"/api/tasks/"_s + idText(id), u"PUT"_s, body, true);
}

QCoro::Task<TaskResponse> APIService::putTaskStatus(qint64 id, TaskStatus currentStatus) const {
    const TaskStatus next = currentStatus == TaskStatus::done ? TaskStatus::pending : TaskStatus::done;
    return request<TaskResponse>(u"/api/tasks/"_s + idText(id), u"PUT"_s, QJsonObject{{u"status"_s, rawValue(next)}},
                                 true);
}

QCoro::Task<APIService::Empty> APIService::postTaskArchive(qint64 id) const {
    return request<Empty>(u"/api/tasks/%1/archive"_s.arg(id), u"POST"_s, std::nullopt, true);
}

QCoro::Task<APIService::Empty> APIService::deleteTask(qint64 id) const {
    return request<Empty>(u"/api/tasks/"_s + idText(id), u"DELETE"_s, std::nullopt, true);
}

QCoro::Task<APIService::Empty> APIService::sendTaskToBot(qint64 id) const {
    return request<Empty>(u"/api/tasks/%1/send-to-bot"_s.arg(id), u"POST"_s, std::nullopt, true);
}

QCoro::Task<AttachmentsResponse> APIService::fetchAttachments(qint64 taskId) const {
    return request<AttachmentsResponse>(u"/api/tasks/%1/attachments"_s.arg(taskId), u"GET"_s, std::nullopt, false);
}

QCoro::Task<APIService::Empty> APIService::deleteAttachment(qint64 taskId, qint64 attachmentId) const {
    return request<Empty>(u"/api/tasks/%1/attachments/%2"_s.arg(taskId).arg(attachmentId), u"DELETE"_s, std::nullopt,
                          true);
}

QCoro::Task<FoldersResponse> APIService::fetchFolders() const {
    return request<FoldersResponse>(u"/api/folders"_s, u"GET"_s, std::nullopt, true);
}

QCoro::Task<APIService::FolderResp> APIService::createFolder(QString name, QString color) const {
    return request<FolderResp>(u"/api/folders"_s, u"POST"_s, QJsonObject{{u"name"_s, name}, {u"color"_s, color}}, true);
}

QCoro::Task<APIService::FolderResp> APIService::updateFolder(qint64 id, QString name, QString color) const {
    return request<FolderResp>(u"/api/folders/"_s + idText(id), u"PUT"_s,
                               QJsonObject{{u"name"_s, name}, {u"color"_s, color}}, true);
}

QCoro::Task<APIService::Empty> APIService::deleteFolder(qint64 id) const {
    return request<Empty>(u"/api/folders/"_s + idText(id), u"DELETE"_s, std::nullopt, true);
}

QCoro::Task<UserSettings> APIService::fetchSettings() const {
    return request<UserSettings>(u"/api/user/settings"_s, u"GET"_s, std::nullopt, true);
}

QCoro::Task<UserSettings> APIService::updateSettings(bool autoSendBot) const {
    return request<UserSettings>(u"/api/user/settings"_s, u"PUT"_s, QJsonObject{{u"auto_send_bot"_s, autoSendBot}},
                                 true);
}

QCoro::Task<UserStats> APIService::fetchStats(QString range) const {
    return request<UserStats>(u"/api/user/stats?range="_s + range, u"GET"_s, std::nullopt, true);
}

QCoro::Task<ApiKeyResponse> APIService::fetchApiKey() const {
    return request<ApiKeyResponse>(u"/api/user/apikey"_s, u"GET"_s, std::nullopt, true);
}

QCoro::Task<ApiKeyResponse> APIService::postApiKeyRegenerate() const {
    return request<ApiKeyResponse>(u"/api/user/apikey/regenerate"_s, u"POST"_s, std::nullopt, true);
}

QCoro::Task<AdminStats> APIService::fetchAdminStats() const {
    return request<AdminStats>(u"/api/admin/stats"_s, u"GET"_s, std::nullopt, true);
}

QCoro::Task<APIService::UsersResp> APIService::fetchAdminUsers() const {
    return request<UsersResp>(u"/api/admin/users"_s, u"GET"_s, std::nullopt, true);
}

template <class T>
QCoro::Task<ConditionalRead<T>> APIService::requestIfChanged(QString path, QByteArray etag, Arrived arrived) const {
    QList<QPair<QByteArray, QByteArray>> conditions;
    if (!etag.isEmpty())
        conditions.append({QByteArray("If-None-Match"), etag});
    HttpResponse response =
        co_await exchange(QUrl(m_base + path, QUrl::StrictMode), u"GET"_s, std::nullopt, true, std::move(conditions));
    ConditionalRead<T> read;
    const int statusCode = response.statusCode;
    if (statusCode == 304 && !etag.isEmpty()) {
        if (arrived)
            arrived();
        read.notModified = true;
        read.etag = std::move(etag);
        co_return read;
    }
    if (statusCode < 200 || statusCode > 299)
        throw APIError::httpError(statusCode, errorMessage(response.body, statusCode));
    if (arrived)
        arrived();
    read.etag = response.header("etag");
    if (response.body.size() < decodeOnWorkerFromBytes) {
        read.value = decodeHere<T>(response.body);
    } else {
        const QFuture<T> decoded = decodeOnWorker<T>(std::move(response.body));
        read.value = co_await decoded;
        dropStoredResult(decoded);
    }
    co_return read;
}

QCoro::Task<ConditionalRead<TasksResponse>> APIService::fetchTasksIfChanged(bool archived,
                                                                            std::optional<TaskStatus> status,
                                                                            std::optional<qint64> folderId,
                                                                            QByteArray etag, Arrived arrived) const {
    return requestIfChanged<TasksResponse>(u"/api/tasks?"_s + tasksQuery(archived, status, folderId), std::move(etag),
                                           std::move(arrived));
}

QCoro::Task<ConditionalRead<FoldersResponse>> APIService::fetchFoldersIfChanged(QByteArray etag) const {
    return requestIfChanged<FoldersResponse>(u"/api/folders"_s, std::move(etag));
}

QCoro::Task<QByteArray> APIService::fetchImage(QUrl url) const {
    const QUrl service(m_base);
    const bool sameOrigin = url.scheme().compare(service.scheme(), Qt::CaseInsensitive) == 0 &&
                            url.host().compare(service.host(), Qt::CaseInsensitive) == 0 &&
                            url.port(defaultPort(url)) == service.port(defaultPort(service));
    return sendTo(std::move(url), u"GET"_s, std::nullopt, sameOrigin);
}

QUrl APIService::attachmentFileURL(qint64 taskId, qint64 attachmentId) const {
    return QUrl(m_base + u"/api/tasks/%1/attachments/%2/file"_s.arg(taskId).arg(attachmentId));
}

QUrl APIService::avatarURL(const QString& identifier) const {
    return QUrl(m_base + u"/api/user/avatar/"_s + QString::fromLatin1(QUrl::toPercentEncoding(identifier)));
}
