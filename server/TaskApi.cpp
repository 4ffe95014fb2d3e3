#include "TaskApi.h"

#include "ApiRequest.h"
#include "EntityTag.h"
#include "Envelopes.h"
#include "JsonFields.h"
#include "JsonWriter.h"
#include "Router.h"
#include "ServerDate.h"
#include "ServerError.h"

#include <QRegularExpression>
#include <QStringDecoder>

using namespace Qt::StringLiterals;

namespace {

constexpr int maxTitleLength = 500;
constexpr qint64 maxAttachmentBytes = 10 << 20;

HttpReply success() {
    return HttpReply::json(encodeJson(SuccessResponse{true}));
}

HttpReply taskReply(const VexoTask& task, int status = 200) {
    return HttpReply::json(encodeJson(TaskResponse{task}), status);
}

ServerError taskNotFound() {
    return ServerError::notFound(u"Задача не найдена"_s);
}

bool queryFlag(const QUrlQuery& query, const QString& key) {
    if (!query.hasQueryItem(key))
        return false;
    const QString value = query.queryItemValue(key);
    if (value == u"true" || value == u"1")
        return true;
    if (value == u"false" || value == u"0")
        return false;
    throw ServerError::badRequest(u"Параметр «%1»: ожидается true или false"_s.arg(key));
}

// Only the last path component of a client-given name, without control characters.
QString cleanFileName(QString name) {
    name.replace(u'\\', u'/');
    name = name.section(u'/', -1).trimmed();
    name.removeIf([](QChar c) { return c.category() == QChar::Other_Control; });
    if (name.isEmpty() || name == u"." || name == u"..")
        return u"file"_s;
    // 255 characters, never cutting a surrogate pair in two.
    qsizetype end = 0;
    for (int characters = 0; end < name.size() && characters < 255; ++characters)
        end += name[end].isHighSurrogate() && end + 1 < name.size() ? 2 : 1;
    return name.left(end);
}

// A query value, percent-decoded, that must be valid UTF-8: a replacement character would change it.
QString strictQueryValue(const QUrlQuery& query, const QString& key) {
    const QByteArray bytes = QByteArray::fromPercentEncoding(query.queryItemValue(key, QUrl::FullyEncoded).toLatin1());
    QStringDecoder decoder(QStringDecoder::Utf8, QStringConverter::Flag::Stateless);
    const QString value = decoder(bytes);
    if (decoder.hasError())
        throw ServerError::badRequest(u"Параметр «%1»: недопустимая последовательность UTF-8"_s.arg(key));
    return value;
}

} // namespace

void TaskApi::registerRoutes(Router& router) {
    const auto bind = [this](HttpReply (TaskApi::*method)(ApiRequest&)) {
        return [this, method](ApiRequest& request) { return (this->*method)(request); };
    };
    router.add("GET", u"/api/tasks"_s, Access::signedIn, bind(&TaskApi::list));
    router.add("POST", u"/api/tasks"_s, Access::signedIn, bind(&TaskApi::create));
    router.add("PUT", u"/api/tasks/{id}"_s, Access::signedIn, bind(&TaskApi::update));
    router.add("DELETE", u"/api/tasks/{id}"_s, Access::signedIn, bind(&TaskApi::remove));
    router.add("POST", u"/api/tasks/{id}/archive"_s, Access::signedIn, bind(&TaskApi::archive));
    router.add("POST", u"/api/tasks/{id}/send-to-bot"_s, Access::signedIn, bind(&TaskApi::sendToBot));
    // Listed without a token: that is the client's contract.
    router.add("GET", u"/api/tasks/{id}/attachments"_s, Access::everyone, bind(&TaskApi::listAttachments));
    router.add("POST", u"/api/tasks/{id}/attachments"_s, Access::signedIn, bind(&TaskApi::uploadAttachment),
               maxAttachmentBytes);
    router.add("DELETE", u"/api/tasks/{id}/attachments/{id}"_s, Access::signedIn, bind(&TaskApi::deleteAttachment));
    router.add("GET", u"/api/tasks/{id}/attachments/{id}/file"_s, Access::signedIn, bind(&TaskApi::attachmentFile));
}

QString TaskApi::messageFor(const VexoTask& task) {
    static const QStringList priorityWords{u"🔴 Высокий"_s, u"🟡 Средний"_s, u"🟢 Низкий"_s};
    QString text = u"📌 "_s + task.title + u"\nПриоритет: "_s + priorityWords[int(task.priority)];
    if (task.deadline)
        text += u"\n⏰ "_s + formatDeadline(task.deadline);
    return text;
}

HttpReply TaskApi::list(ApiRequest& request) {
    TaskFilter filter;
    filter.archived = queryFlag(request.query, u"archived"_s);
    if (request.query.hasQueryItem(u"status"_s)) {
        filter.status = taskStatusFromRaw(request.query.queryItemValue(u"status"_s));
        if (!filter.status)
            throw ServerError::badRequest(u"Параметр «status»: допустимые значения: pending, done, cancelled"_s);
    }
    if (request.query.hasQueryItem(u"folderId"_s)) {
        bool ok = false;
        filter.folderId = request.query.queryItemValue(u"folderId"_s).toLongLong(&ok);
        if (!ok || *filter.folderId <= 0)
            throw ServerError::badRequest(u"Параметр «folderId»: ожидается положительное целое число"_s);
    }
    // The tag names the list's form and the user's latest task revision: every change to one of
    // their tasks moves that revision, and the revision is read before the list, so a tag never
    // claims a newer list than the one it comes with.
    const qint64 userId = request.userId();
    QByteArrayList form{QByteArray::number(userId), filter.archived ? "a1" : "a0"};
    if (filter.status)
        form << "s" + rawValue(*filter.status).toLatin1();
    if (filter.folderId)
        form << "f" + QByteArray::number(*filter.folderId);
    const QByteArray tag =
        EntityTag::make(QByteArrayList{m_context.storage.instanceId().toLatin1(), form.first(), "tasks",
                                       QByteArray::number(m_context.storage.latestRevision(userId, ChangeKind::task))} +
                        form.sliced(1));
    return EntityTag::answer(request, tag, [&] {
        const QByteArray slot = form.join('-');
        if (auto kept = m_lists.find(slot, tag))
            return HttpReply::json(std::move(*kept));
        QByteArray body = m_context.storage.tasksJson(userId, filter);
        m_lists.insert(slot, tag, body);
        return HttpReply::json(std::move(body));
    });
}

VexoTask TaskApi::createFrom(const StoredUser& user, const QJsonObject& body, const QString& source) {
    const JsonFields fields(body);
    NewTask task;
    task.title = fields.requiredTitle(u"title"_s, maxTitleLength);
    task.priority = fields.optionalPriority(u"priority"_s).value_or(TaskPriority::medium);
    task.description = fields.optionalString(u"description"_s);
    if (task.description && task.description->isEmpty())
        task.description.reset();
    task.deadline = fields.optionalDeadline(u"deadline"_s);
    task.folderId = fields.optionalId(u"folderId"_s);
    if (task.folderId && !m_context.storage.hasFolder(user.user.id, *task.folderId))
        throw ServerError::badRequest(u"Поле «folderId»: папка не найдена"_s);
    task.source = source;
    return m_context.storage.insertTask(user.user.id, task, user.autoSendBot, m_context.nowText());
}

HttpReply TaskApi::create(ApiRequest& request) {
    return taskReply(createFrom(request.signedIn(), request.jsonObject(), u"app"_s), 201);
}

HttpReply TaskApi::update(ApiRequest& request) {
    const JsonFields fields(request.jsonObject());
    TaskChanges changes;
    if (fields.has(u"title"_s))
        changes.title = fields.requiredTitle(u"title"_s, maxTitleLength);
    if (fields.has(u"description"_s))
        changes.description = fields.optionalString(u"description"_s).value_or(QString());
    if (fields.has(u"deadline"_s))
        changes.deadline = fields.optionalDeadline(u"deadline"_s);
    changes.priority = fields.optionalPriority(u"priority"_s);
    changes.status = fields.optionalStatus(u"status"_s);
    if (fields.has(u"folderId"_s)) {
        const auto folderId = fields.optionalId(u"folderId"_s);
        if (folderId && !m_context.storage.hasFolder(request.userId(), *folderId))
            throw ServerError::badRequest(u"Поле «folderId»: папка не найдена"_s);
        changes.folderId = folderId;
    }
    const auto task = m_context.storage.updateTask(request.userId(), request.idParam(0), changes, m_context.nowText());
    if (!task)
        throw taskNotFound();
    return taskReply(*task);
}

HttpReply TaskApi::remove(ApiRequest& request) {
    if (!m_context.storage.deleteTask(request.userId(), request.idParam(0)))
        throw taskNotFound();
    return success();
}

HttpReply TaskApi::archive(ApiRequest& request) {
    if (!m_context.storage.archiveTask(request.userId(), request.idParam(0), m_context.nowText()))
        throw taskNotFound();
    return success();
}

HttpReply TaskApi::sendToBot(ApiRequest& request) {
    const auto task = m_context.storage.task(request.userId(), request.idParam(0));
    if (!task)
        throw taskNotFound();
    m_context.storage.markSent(request.userId(), task->id, messageFor(*task), m_context.nowText());
    return success();
}

HttpReply TaskApi::listAttachments(ApiRequest& request) {
    const auto attachments = m_context.storage.attachments(request.idParam(0));
    if (!attachments)
        throw taskNotFound();
    return HttpReply::json(encodeJson(AttachmentsResponse{*attachments}));
}

HttpReply TaskApi::uploadAttachment(ApiRequest& request) {
    const qint64 taskId = request.idParam(0);
    if (!m_context.storage.task(request.userId(), taskId))
        throw taskNotFound();
    if (request.body.isEmpty())
        throw ServerError::badRequest(u"Пустой файл"_s);
    const QString filename = cleanFileName(strictQueryValue(request.query, u"filename"_s));
    static const QRegularExpression mediaType(u"^[A-Za-z0-9][A-Za-z0-9!#$&^_.+-]*/[A-Za-z0-9][A-Za-z0-9!#$&^_.+-]*$"_s);
    QString mimetype = QString::fromLatin1(request.header("content-type")).section(u';', 0, 0).trimmed();
    if (mimetype.isEmpty())
        mimetype = u"application/octet-stream"_s;
    if (!mediaType.match(mimetype).hasMatch())
        throw ServerError::badRequest(u"Заголовок Content-Type: ожидается тип вида image/png"_s);

    const auto attachment =
        m_context.storage.addAttachment(taskId, filename, mimetype, request.body, m_context.nowText());
    if (!attachment)
        throw taskNotFound();
    return HttpReply::json(encodeJson(AttachmentResponse{*attachment}), 201);
}

HttpReply TaskApi::deleteAttachment(ApiRequest& request) {
    if (!m_context.storage.deleteAttachment(request.userId(), request.idParam(0), request.idParam(1)))
        throw ServerError::notFound(u"Вложение не найдено"_s);
    return success();
}

HttpReply TaskApi::attachmentFile(ApiRequest& request) {
    auto stored = m_context.storage.attachmentFile(request.userId(), request.idParam(0), request.idParam(1));
    if (!stored)
        throw ServerError::notFound(u"Вложение не найдено"_s);
    if (!stored->content)
        throw ServerError::notFound(u"Файл вложения не найден"_s);
    HttpReply reply;
    reply.contentType = stored->attachment.mimetype.toLatin1();
    reply.body = std::move(*stored->content);
    reply.headers.append(
        {"Content-Disposition", "inline; filename*=UTF-8''" + QUrl::toPercentEncoding(stored->attachment.filename)});
    return reply;
}
