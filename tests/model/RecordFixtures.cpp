#include "RecordFixtures.h"

#include "AdminStats.h"
#include "AdminUser.h"
#include "Envelopes.h"
#include "JsonValue.h"
#include "UserSettings.h"
#include "UserStats.h"

#include <QJsonArray>
#include <QJsonDocument>

using namespace Qt::StringLiterals;

namespace {

template <class T> std::function<void(const QByteArray&)> decoderFor() {
    return [](const QByteArray& bytes) { (void)decodeJson<T>(bytes); };
}

QJsonObject userSample() {
    return QJsonObject{{u"id"_s, 7},
                       {u"telegram_id"_s, u"123456789"_s},
                       {u"username"_s, u"ivan"_s},
                       {u"first_name"_s, u"Иван"_s},
                       {u"last_name"_s, u"Петров"_s},
                       {u"avatar_url"_s, u"/api/user/avatar/123456789"_s},
                       {u"is_admin"_s, true}};
}

QJsonObject taskSample() {
    return QJsonObject{{u"id"_s, 42},
                       {u"title"_s, u"Купить молоко"_s},
                       {u"description"_s, u"<p>Два литра, <b>3,2%</b></p>"_s},
                       {u"deadline"_s, u"2025-03-05T15:00:00.000Z"_s},
                       {u"priority"_s, u"high"_s},
                       {u"status"_s, u"pending"_s},
                       {u"archived"_s, 0},
                       {u"archived_at"_s, u"2025-03-06T10:00:00.000Z"_s},
                       {u"completed_at"_s, u"2025-03-05T12:00:00.000Z"_s},
                       {u"created_at"_s, u"2025-03-01 10:00:00"_s},
                       {u"updated_at"_s, u"2025-03-02 11:00:00"_s},
                       {u"source"_s, u"bot"_s},
                       {u"sent_to_bot"_s, 1},
                       {u"folder_id"_s, 3},
                       {u"user_id"_s, 7}};
}

QJsonObject folderSample() {
    return QJsonObject{
        {u"id"_s, 3}, {u"name"_s, u"Работа"_s}, {u"color"_s, u"#FF6B6B"_s}, {u"created_at"_s, u"2025-01-01"_s}};
}

QJsonObject attachmentSample() {
    return QJsonObject{{u"id"_s, 5},
                       {u"filename"_s, u"фото.jpg"_s},
                       {u"mimetype"_s, u"image/jpeg"_s},
                       {u"size"_s, 20480},
                       {u"created_at"_s, u"2025-03-01 10:00:00"_s}};
}

QJsonObject dayCount(const QString& date, int count) {
    return QJsonObject{{u"date"_s, date}, {u"count"_s, count}};
}

QJsonObject dailySample() {
    return QJsonObject{{u"created"_s, QJsonArray{dayCount(u"2025-03-01"_s, 2)}},
                       {u"completed"_s, QJsonArray{dayCount(u"2025-03-01"_s, 1)}}};
}

QJsonObject priorityCount(const QString& priority, int count) {
    return QJsonObject{{u"priority"_s, priority}, {u"count"_s, count}};
}

QJsonObject statsSample() {
    return QJsonObject{{u"range"_s, u"week"_s},
                       {u"totals"_s, QJsonObject{{u"created"_s, 2}, {u"completed"_s, 1}}},
                       {u"daily"_s, dailySample()},
                       {u"priority"_s, QJsonArray{priorityCount(u"high"_s, 1), priorityCount(u"low"_s, 1)}}};
}

QJsonObject adminUserSample() {
    return QJsonObject{{u"id"_s, 1},
                       {u"telegram_id"_s, u"12345"_s},
                       {u"username"_s, u"admin"_s},
                       {u"first_name"_s, u"Анна"_s},
                       {u"last_name"_s, u"Смирнова"_s},
                       {u"task_count"_s, 12},
                       {u"is_admin"_s, true}};
}

} // namespace

QByteArray toBytes(const QJsonObject& object) {
    return QJsonDocument(object).toJson(QJsonDocument::Compact);
}

QList<RecordFixture> recordFixtures() {
    return {
        {u"User"_s, userSample(), {u"id"_s, u"telegram_id"_s}, decoderFor<User>()},
        {u"VexoTask"_s,
         taskSample(),
         {u"id"_s, u"title"_s, u"priority"_s, u"status"_s, u"created_at"_s},
         decoderFor<VexoTask>()},
        {u"Folder"_s, folderSample(), {u"id"_s, u"name"_s, u"color"_s}, decoderFor<Folder>()},
        {u"TaskAttachment"_s,
         attachmentSample(),
         {u"id"_s, u"filename"_s, u"mimetype"_s, u"size"_s},
         decoderFor<TaskAttachment>()},
        {u"UserSettings"_s, QJsonObject{{u"auto_send_bot"_s, true}}, {u"auto_send_bot"_s}, decoderFor<UserSettings>()},
        {u"AuthResponse"_s,
         QJsonObject{{u"success"_s, true}, {u"token"_s, u"tok"_s}, {u"user"_s, userSample()}},
         {u"success"_s, u"token"_s, u"user"_s},
         decoderFor<AuthResponse>()},
        {u"TasksResponse"_s,
         QJsonObject{{u"tasks"_s, QJsonArray{taskSample()}}},
         {u"tasks"_s},
         decoderFor<TasksResponse>()},
        {u"TaskResponse"_s, QJsonObject{{u"task"_s, taskSample()}}, {u"task"_s}, decoderFor<TaskResponse>()},
        {u"FoldersResponse"_s,
         QJsonObject{{u"folders"_s, QJsonArray{folderSample()}}},
         {u"folders"_s},
         decoderFor<FoldersResponse>()},
        {u"AttachmentsResponse"_s,
         QJsonObject{{u"attachments"_s, QJsonArray{attachmentSample()}}},
         {u"attachments"_s},
         decoderFor<AttachmentsResponse>()},
        {u"ApiKeyResponse"_s,
         QJsonObject{{u"api_key"_s, u"vexoapi-abc"_s}},
         {u"api_key"_s},
         decoderFor<ApiKeyResponse>()},
        {u"UserStats"_s, statsSample(), {u"range"_s, u"totals"_s, u"daily"_s, u"priority"_s}, decoderFor<UserStats>()},
        {u"StatsTotals"_s,
         QJsonObject{{u"created"_s, 2}, {u"completed"_s, 1}},
         {u"created"_s, u"completed"_s},
         decoderFor<StatsTotals>()},
        {u"StatsDaily"_s, dailySample(), {u"created"_s, u"completed"_s}, decoderFor<StatsDaily>()},
        {u"StatsDayCount"_s, dayCount(u"2025-03-01"_s, 4), {u"date"_s, u"count"_s}, decoderFor<StatsDayCount>()},
        {u"StatsPriority"_s, priorityCount(u"medium"_s, 3), {u"priority"_s, u"count"_s}, decoderFor<StatsPriority>()},
        {u"AdminStats"_s,
         QJsonObject{
             {u"total_users"_s, 3}, {u"total_tasks"_s, 40}, {u"active_tasks"_s, 20}, {u"completed_tasks"_s, 15}},
         {u"total_users"_s, u"total_tasks"_s, u"active_tasks"_s, u"completed_tasks"_s},
         decoderFor<AdminStats>()},
        {u"AdminUser"_s, adminUserSample(), {u"id"_s, u"telegram_id"_s}, decoderFor<AdminUser>()},
    };
}
