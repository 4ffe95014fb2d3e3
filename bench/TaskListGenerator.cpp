#include "TaskListGenerator.h"

#include "Envelopes.h"
#include "JsonWriter.h"

#include <QRandomGenerator>
#include <QStringList>

using namespace Qt::StringLiterals;

namespace {

const QStringList& words() {
    static const QStringList list{u"позвонить"_s,   u"купить"_s,  u"отчёт"_s,       u"встреча"_s,   u"проект"_s,
                                  u"клиент"_s,      u"договор"_s, u"подготовить"_s, u"проверить"_s, u"сервер"_s,
                                  u"презентация"_s, u"бюджет"_s,  u"квартал"_s,     u"задача"_s,    u"срочно"_s,
                                  u"Telegram"_s,    u"API"_s,     u"релиз"_s,       u"дизайн"_s,    u"макет"_s};
    return list;
}

QString sentence(QRandomGenerator& random, int wordCount) {
    QStringList parts;
    for (int i = 0; i < wordCount; ++i)
        parts.append(words()[int(random.bounded(qsizetype(words().size())))]);
    QString text = parts.join(u' ');
    text[0] = text[0].toUpper();
    return text;
}

QString htmlDescription(QRandomGenerator& random) {
    const int targetBytes = 200 + int(random.bounded(1801));
    QString html;
    while (html.toUtf8().size() < targetBytes) {
        switch (random.bounded(4)) {
        case 0:
            html += u"<p>"_s + sentence(random, 8) + u".</p>"_s;
            break;
        case 1:
            html += u"<ul><li>"_s + sentence(random, 3) + u"</li><li><b>"_s + sentence(random, 2) + u"</b></li></ul>"_s;
            break;
        case 2:
            html += u"<p><a href=\"https://example.org/t/"_s + QString::number(random.bounded(100000)) + u"\">"_s +
                    sentence(random, 2) + u"</a> — <i>"_s + sentence(random, 4) + u"</i></p>"_s;
            break;
        default:
            html += u"<p>"_s + sentence(random, 5) + u"<br>\n"_s + sentence(random, 5) + u"</p>"_s;
        }
    }
    return html;
}

QString timestamp(QRandomGenerator& random, bool databaseForm) {
    const int day = 1 + int(random.bounded(28));
    const int hour = int(random.bounded(24));
    const int minute = int(random.bounded(60));
    return databaseForm ? u"2025-03-%1 %2:%3:00"_s.arg(day, 2, 10, QChar(u'0'))
                              .arg(hour, 2, 10, QChar(u'0'))
                              .arg(minute, 2, 10, QChar(u'0'))
                        : u"2025-03-%1T%2:%3:00.000Z"_s.arg(day, 2, 10, QChar(u'0'))
                              .arg(hour, 2, 10, QChar(u'0'))
                              .arg(minute, 2, 10, QChar(u'0'));
}

} // namespace

QByteArray generateTasksResponse(int count, quint32 seed) {
    QRandomGenerator random(seed);
    JsonWriter writer;
    writer.beginObject();
    writer.key("tasks");
    writer.beginArray();
    for (int i = 0; i < count; ++i) {
        VexoTask task;
        task.id = 1'000'000 + count - i;
        task.title = sentence(random, 2 + int(random.bounded(6)));
        if (random.bounded(10) < 7)
            task.description = htmlDescription(random);
        if (random.bounded(10) < 6)
            task.deadline = timestamp(random, false);
        task.priority = allTaskPriorities[random.bounded(3)];
        task.status = allTaskStatuses[random.bounded(3)];
        task.archived = qint64(random.bounded(10) == 0);
        if (task.isArchived())
            task.archivedAt = timestamp(random, true);
        if (task.status == TaskStatus::done)
            task.completedAt = timestamp(random, true);
        task.createdAt = timestamp(random, true);
        task.updatedAt = timestamp(random, true);
        task.source = random.bounded(3) == 0 ? u"bot"_s : u"app"_s;
        task.sentToBot = qint64(random.bounded(4) == 0);
        if (random.bounded(2) == 0)
            task.folderId = 1 + random.bounded(8);
        task.userId = 7;
        task.toJson(writer);
    }
    writer.endArray();
    writer.endObject();
    return writer.take();
}
