#include "FolderApi.h"

#include "ApiRequest.h"
#include "EntityTag.h"
#include "Envelopes.h"
#include "JsonFields.h"
#include "JsonWriter.h"
#include "Router.h"
#include "ServerError.h"

using namespace Qt::StringLiterals;

namespace {

constexpr int maxNameLength = 100;

HttpReply folderReply(const Folder& folder, int status = 200) {
    return HttpReply::json(encodeJson(FolderResponse{folder}), status);
}

} // namespace

void FolderApi::registerRoutes(Router& router) {
    router.add("GET", u"/api/folders"_s, Access::signedIn, [this](ApiRequest& request) {
        const qint64 userId = request.userId();
        const QByteArray tag =
            EntityTag::make({m_context.storage.instanceId().toLatin1(), QByteArray::number(userId), "folders",
                             QByteArray::number(m_context.storage.latestRevision(userId, ChangeKind::folder))});
        return EntityTag::answer(request, tag, [&] {
            return HttpReply::json(encodeJson(FoldersResponse{m_context.storage.folders(userId)}));
        });
    });
    router.add("POST", u"/api/folders"_s, Access::signedIn, [this](ApiRequest& request) {
        const JsonFields fields(request.jsonObject());
        const QString name = fields.requiredTitle(u"name"_s, maxNameLength);
        const QString color = fields.requiredColor(u"color"_s);
        return folderReply(m_context.storage.insertFolder(request.userId(), name, color, m_context.nowText()), 201);
    });
    router.add("PUT", u"/api/folders/{id}"_s, Access::signedIn, [this](ApiRequest& request) {
        const JsonFields fields(request.jsonObject());
        const QString name = fields.requiredTitle(u"name"_s, maxNameLength);
        const QString color = fields.requiredColor(u"color"_s);
        const auto folder = m_context.storage.updateFolder(request.userId(), request.idParam(0), name, color);
        if (!folder)
            throw ServerError::notFound(u"Папка не найдена"_s);
        return folderReply(*folder);
    });
    router.add("DELETE", u"/api/folders/{id}"_s, Access::signedIn, [this](ApiRequest& request) {
        if (!m_context.storage.deleteFolder(request.userId(), request.idParam(0)))
            throw ServerError::notFound(u"Папка не найдена"_s);
        return HttpReply::json(encodeJson(SuccessResponse{true}));
    });
}
