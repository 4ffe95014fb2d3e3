#pragma once

#include "AdminStats.h"
#include "AdminUser.h"
#include "ConditionalRead.h"
#include "Envelopes.h"
#include "KeyValueStore.h"
#include "TaskUpdate.h"
#include "UserSettings.h"
#include "UserStats.h"

#include <QCoroTask>
#include <QFuture>
#include <QJsonObject>
#include <QUrl>

#include <chrono>
#include <functional>
#include <memory>
#include <optional>

class HttpClient;
class JsonValue;
struct HttpResponse;
class QNetworkAccessManager;

// The one place where the client talks to the service. Every call goes through request(), which
// builds the request the same way, sends it and turns the answer into a record, an APIError, or a
// TransportError for failures of the connection itself. No retries, no response cache, no token
// refresh. One time-out covers each whole transfer, and no answer larger than the size limit is
// taken in.
class APIService final {
public:
    // Acknowledgement of deletions, archiving and sending to the bot.
    struct Empty {
        bool success = false;
        static Empty fromJson(JsonValue& value);
    };
    // {"folder": …}
    struct FolderResp {
        Folder folder;
        static FolderResp fromJson(JsonValue& value);
    };
    // {"users": […]}
    struct UsersResp {
        QList<AdminUser> users;
        static UsersResp fromJson(JsonValue& value);
    };

    static constexpr std::chrono::milliseconds defaultTimeout{30'000};
    // Answers from this size on are decoded on a worker thread: the event loop never waits for a
    // long list to be read.
    static constexpr qsizetype decodeOnWorkerFromBytes = 64 * 1024;
    // Called on the caller's thread when an answer's body is in, before it is decoded: answers
    // arrive in one order and may finish decoding in another.
    using Arrived = std::function<void()>;
    static constexpr qint64 defaultMaxAnswerBytes = 256 * 1024 * 1024;

    // `base` is scheme and host without a trailing slash; paths are appended to it as text. Connections
    // follow `network`'s proxy setting.
    APIService(QString base, QNetworkAccessManager& network, const KeyValueStore& store,
               std::chrono::milliseconds timeout = defaultTimeout, qint64 maxAnswerBytes = defaultMaxAnswerBytes);
    // Requests still running end with their transport error first.
    ~APIService();
    APIService(const APIService&) = delete;
    APIService& operator=(const APIService&) = delete;

    const QString& base() const { return m_base; }

    // The service the application talks to: $VEXO_BASE_URL when set, else the build's VEXO_BASE_URL.
    static QString configuredBase();

    // Sends one request and decodes a T from a 2xx answer. `body` absent means no body; the token is
    // read from the store on every authorized call.
    template <class T>
    QCoro::Task<T> request(QString path, QString method, std::optional<QJsonObject> body, bool authorized) const;

    QCoro::Task<AuthResponse> verifyKey(QString key) const;
    QCoro::Task<TasksResponse> fetchTasks(bool archived, std::optional<TaskStatus> status,
                                          std::optional<qint64> folderId, Arrived arrived = {}) const;
    QCoro::Task<TaskResponse> createTask(QString title, TaskPriority priority, std::optional<QString> description,
                                         std::optional<QString> deadline) const;
    QCoro::Task<TaskResponse> updateTask(qint64 id, TaskUpdate update) const;
    // Done becomes pending; pending and cancelled become done.
    QCoro::Task<TaskResponse> putTaskStatus(qint64 id, TaskStatus currentStatus) const;
    QCoro::Task<Empty> postTaskArchive(qint64 id) const;
    QCoro::Task<Empty> deleteTask(qint64 id) const;
    QCoro::Task<Empty> sendTaskToBot(qint64 id) const;
    // Deliberately sent without the token, whatever the store holds.
    QCoro::Task<AttachmentsResponse> fetchAttachments(qint64 taskId) const;
    QCoro::Task<Empty> deleteAttachment(qint64 taskId, qint64 attachmentId) const;
    QCoro::Task<FoldersResponse> fetchFolders() const;
    QCoro::Task<FolderResp> createFolder(QString name, QString color) const;
    QCoro::Task<FolderResp> updateFolder(qint64 id, QString name, QString color) const;
    QCoro::Task<Empty> deleteFolder(qint64 id) const;
    QCoro::Task<UserSettings> fetchSettings() const;
    QCoro::Task<UserSettings> updateSettings(bool autoSendBot) const;
    QCoro::Task<UserStats> fetchStats(QString range) const;
    QCoro::Task<ApiKeyResponse> fetchApiKey() const;
    QCoro::Task<ApiKeyResponse> postApiKeyRegenerate() const;
    QCoro::Task<AdminStats> fetchAdminStats() const;
    QCoro::Task<UsersResp> fetchAdminUsers() const;

    // The same reads as fetchTasks and fetchFolders, sent with If-None-Match when `etag` is not empty:
    // a list the service still holds unchanged comes back as notModified, without a body. Failures
    // are those of request().
    QCoro::Task<ConditionalRead<TasksResponse>> fetchTasksIfChanged(bool archived, std::optional<TaskStatus> status,
                                                                    std::optional<qint64> folderId, QByteArray etag,
                                                                    Arrived arrived = {}) const;
    QCoro::Task<ConditionalRead<FoldersResponse>> fetchFoldersIfChanged(QByteArray etag) const;

    // The bytes of an attachment file or an avatar, with the same time-out and the same errors as every
    // other call. The service keeps attachment files to their owner, so the session's token goes
    // along, but only to the service's own address: a picture elsewhere never sees it. The caller
    // decodes the picture.
    QCoro::Task<QByteArray> fetchImage(QUrl url) const;

    // Addresses handed to image loaders and the system; nothing is requested here.
    QUrl attachmentFileURL(qint64 taskId, qint64 attachmentId) const;
    QUrl avatarURL(const QString& identifier) const;

    // Ends every request still on the wire: each waiting caller gets its transport error
    // (OperationCanceledError) now, instead of waiting on a connection that shutting down would cut.
    void abortPending() const;

    static QString tasksQuery(bool archived, std::optional<TaskStatus> status, std::optional<qint64> folderId);

private:
    // Steps shared by every call: returns the body of a 2xx answer, throws for anything else.
    QCoro::Task<QByteArray> send(QString path, QString method, std::optional<QJsonObject> body, bool authorized) const;
    QCoro::Task<QByteArray> sendTo(QUrl url, QString method, std::optional<QJsonObject> body, bool authorized) const;
    // Steps 1 to 8: the answer whatever its status. `extraHeaders` go after the standard ones.
    QCoro::Task<HttpResponse> exchange(QUrl url, QString method, std::optional<QJsonObject> body, bool authorized,
                                       QList<QPair<QByteArray, QByteArray>> extraHeaders = {}) const;
    template <class T>
    QCoro::Task<ConditionalRead<T>> requestIfChanged(QString path, QByteArray etag, Arrived arrived = {}) const;
    // A 2xx answer's body as a T; DecodeError becomes APIError. Long answers are decoded by
    // decodeOnWorker(), whose future throws that error in the frame that awaits it.
    template <class T> static T decodeHere(const QByteArray& answer);
    template <class T> static QFuture<T> decodeOnWorker(QByteArray answer);

    QString m_base;
    const KeyValueStore& m_store;
    std::chrono::milliseconds m_timeout;
    qint64 m_maxAnswerBytes;
    std::unique_ptr<HttpClient> m_client;
};
