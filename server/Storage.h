#pragma once

#include "AdminStats.h"
#include "AdminUser.h"
#include "Change.h"
#include "ChangeWatch.h"
#include "Envelopes.h"
#include "Folder.h"
#include "JsonWriter.h"
#include "TaskAttachment.h"
#include "User.h"
#include "VexoTask.h"

#include <QByteArray>
#include <QHash>
#include <QList>
#include <QString>
#include <QStringList>

#include <functional>
#include <memory>
#include <optional>

// A user as the service keeps them. user.avatarUrl holds the avatar's stored name.
struct StoredUser {
    User user;
    bool autoSendBot = false;
    std::optional<QString> apiKey;
};

struct NewUser {
    QString telegramId;
    std::optional<QString> username;
    std::optional<QString> firstName;
    std::optional<QString> lastName;
    bool isAdmin = false;
    std::optional<QString> avatarName;
};

struct TaskFilter {
    bool archived = false;
    std::optional<TaskStatus> status;
    std::optional<qint64> folderId;
};

struct NewTask {
    QString title;
    std::optional<QString> description;
    std::optional<QString> deadline; // already in the answer form
    TaskPriority priority = TaskPriority::medium;
    QString source;
    std::optional<qint64> folderId;
    std::optional<QString> createdAt; // backdated creation, for imported or demonstration data
};

// An absent member leaves the field alone; a present empty optional clears it.
struct TaskChanges {
    std::optional<QString> title;
    std::optional<QString> description;
    std::optional<std::optional<QString>> deadline;
    std::optional<TaskPriority> priority;
    std::optional<TaskStatus> status;
    std::optional<std::optional<qint64>> folderId;
};

struct AttachmentFile {
    TaskAttachment attachment;
    std::optional<QByteArray> content; // empty when the stored content is missing
};

struct OutboxEntry {
    qint64 id = 0;
    qint64 taskId = 0;
    QString telegramId;
    QString text;
    QString createdAt;
};

// Everything the service keeps. Each mutating call is one transaction; `now` is the caller's clock
// in the answer form (ISO 8601 with milliseconds, UTC). Ids of other users' rows behave as absent.
// Every call that changes a user's tasks, folders, settings or attachments also appends to the
// change log in its transaction: creating, updating, archiving, sending or deleting a task; creating,
// renaming or deleting a folder (and updating each task it held); the settings; adding or removing
// an attachment. Everything that several processes serving one database must agree on lives here:
// sessions, keys, the login attempts, the outbox, attachment and avatar contents, the change log.
// A database that cannot be reached for now makes a call throw ServerError (unavailable).
class Storage {
public:
    virtual ~Storage() = default;

    virtual std::optional<StoredUser> userById(qint64 id) = 0;
    virtual std::optional<StoredUser> userByTelegramId(const QString& telegramId) = 0;
    virtual std::optional<StoredUser> userByLoginKeyHash(const QString& keyHash) = 0;
    virtual std::optional<StoredUser> userBySessionHash(const QString& tokenHash) = 0;
    virtual std::optional<StoredUser> userByApiKey(const QString& apiKey) = 0;
    virtual StoredUser createUser(const NewUser& user, const QString& now) = 0;
    virtual void setAvatar(qint64 userId, const QString& avatarName) = 0;
    // Keeps an avatar image; returns the name it is stored under, for NewUser::avatarName.
    virtual QString addAvatar(const QByteArray& image, const QString& suffix) = 0;
    virtual std::optional<QByteArray> avatar(const QString& name) = 0;
    // Adds a key that signs this user in; with `revokeOthers` it becomes the only one.
    virtual void addLoginKey(qint64 userId, const QString& keyHash, bool revokeOthers, const QString& now) = 0;
    virtual void addSession(qint64 userId, const QString& tokenHash, const QString& now) = 0;
    virtual void setAutoSendBot(qint64 userId, bool enabled) = 0;
    virtual void setApiKey(qint64 userId, const QString& apiKey) = 0;
    // One sign-in attempt, counted against each bucket (a client address, a key prefix) unless one
    // of them already had `limit` attempts in the `windowMs` before `nowMs`: then nothing is counted
    // and the answer is false. Every process on the database counts in the same buckets.
    virtual bool admitAttempt(const QStringList& buckets, qint64 nowMs, qint64 windowMs, int limit) = 0;

    virtual QList<VexoTask> tasks(qint64 userId, const TaskFilter& filter) = 0;
    // The same list as its answer, {"tasks":[…]}: byte for byte the encoding of tasks(). A storage
    // may write it straight from its rows.
    virtual QByteArray tasksJson(qint64 userId, const TaskFilter& filter) {
        return encodeJson(TasksResponse{tasks(userId, filter)});
    }
    virtual std::optional<VexoTask> task(qint64 userId, qint64 taskId) = 0;
    // With `sendToBot` the task is created as sent and its delivery is recorded in the outbox.
    virtual VexoTask insertTask(qint64 userId, const NewTask& task, bool sendToBot, const QString& now) = 0;
    virtual std::optional<VexoTask> updateTask(qint64 userId, qint64 taskId, const TaskChanges& changes,
                                               const QString& now) = 0;
    virtual bool archiveTask(qint64 userId, qint64 taskId, const QString& now) = 0;
    // The task's attachments and their contents go with it.
    virtual bool deleteTask(qint64 userId, qint64 taskId) = 0;
    virtual bool markSent(qint64 userId, qint64 taskId, const QString& text, const QString& now) = 0;

    virtual QList<Folder> folders(qint64 userId) = 0;
    virtual bool hasFolder(qint64 userId, qint64 folderId) = 0;
    virtual Folder insertFolder(qint64 userId, const QString& name, const QString& color, const QString& now) = 0;
    virtual std::optional<Folder> updateFolder(qint64 userId, qint64 folderId, const QString& name,
                                               const QString& color) = 0;
    virtual bool deleteFolder(qint64 userId, qint64 folderId) = 0;

    virtual std::optional<QList<TaskAttachment>> attachments(qint64 taskId) = 0;
    // An attachment of the user's task, with its content.
    virtual std::optional<AttachmentFile> attachmentFile(qint64 userId, qint64 taskId, qint64 attachmentId) = 0;
    // Stores the content and its row; nothing when there is no such task.
    virtual std::optional<TaskAttachment> addAttachment(qint64 taskId, const QString& filename, const QString& mimetype,
                                                        const QByteArray& content, const QString& now) = 0;
    // The row and its content.
    virtual bool deleteAttachment(qint64 userId, qint64 taskId, qint64 attachmentId) = 0;

    // Counts keyed by "yyyy-MM-dd" for days in [fromDay, toDay].
    virtual QHash<QString, qint64> createdPerDay(qint64 userId, const QString& fromDay, const QString& toDay) = 0;
    virtual QHash<QString, qint64> completedPerDay(qint64 userId, const QString& fromDay, const QString& toDay) = 0;
    virtual QHash<QString, qint64> createdPerPriority(qint64 userId, const QString& fromDay, const QString& toDay) = 0;

    virtual AdminStats adminStats() = 0;
    virtual QList<AdminUser> adminUsers() = 0;

    virtual QList<OutboxEntry> outbox() = 0;

    // The change log. Revisions come from one sequence across all users; 0 means none yet.
    virtual qint64 latestRevision(qint64 userId, ChangeKind kind) = 0;
    // The user's latest revision of any kind.
    qint64 userRevision(qint64 userId) {
        qint64 latest = 0;
        for (ChangeKind kind : allChangeKinds)
            latest = qMax(latest, latestRevision(userId, kind));
        return latest;
    }
    // Across all users.
    virtual qint64 lastRevision() = 0;
    // At most `limit` changes after `revision`, oldest first; `through` becomes the revision read up to.
    virtual QList<Change> changesAfter(qint64 revision, int limit, qint64& through) = 0;
    // Announces changes to the log from this process and from others; the storage outlives it.
    virtual std::unique_ptr<ChangeWatch> watchChanges(int pollIntervalMs) = 0;
    // Tells this database from any other: a new one gets a new identifier.
    virtual QString instanceId() = 0;

    // Writes may become durable in groups rather than at each commit. Whoever reports a write as
    // done (an HTTP answer, a printed id) first waits for durabilityWork() to have run: it makes
    // every commit made so far survive a power loss, and may run on any thread while new commits
    // go on. Empty when nothing waits. Storage whose every commit is durable keeps the defaults.
    virtual bool hasUndurableWrites() const { return false; }
    virtual std::function<void()> durabilityWork() { return {}; }
    void makeWritesDurable() {
        if (const auto work = durabilityWork())
            work();
    }
};
