#include "DemoData.h"

#include <QBuffer>
#include <QImage>

using namespace Qt::StringLiterals;

namespace {

struct DemoTask {
    const char16_t* title;
    const char16_t* description; // HTML, or empty
    TaskPriority priority;
    TaskStatus status;
    int deadlineHours; // from now; 0 = no deadline
    int createdDaysAgo;
    int folder; // index into the folders, -1 = none
    bool archived;
    bool fromBot;
    bool sent;
};

constexpr int noDeadline = 0;

const DemoTask demoTasks[] = {
    {u"Подготовить квартальный отчёт",
     u"<p>Свести цифры по <b>выручке</b> и расходам за третий "
     u"квартал.</p><ul><li>Продажи</li><li>Маркетинг</li><li>Зарплаты</li></ul>",
     TaskPriority::high, TaskStatus::pending, 20, 3, 0, false, false, true},
    {u"Созвон с клиентом по договору",
     u"<p>Обсудить сроки и <i>штрафные санкции</i>. Ссылка на встречу: <a "
     u"href=\"https://example.org/meet\">example.org/meet</a></p>",
     TaskPriority::high, TaskStatus::pending, 3, 1, 0, false, true, false},
    {u"Проверить логи сервера", u"", TaskPriority::medium, TaskStatus::pending, -5, 4, 0, false, false, false},
    {u"Обновить зависимости проекта", u"<p>Qt 6.4 → 6.5, проверить сборку под sanitizer-ами.</p>", TaskPriority::low,
     TaskStatus::pending, 24 * 6, 2, 0, false, false, false},
    {u"Ревью пул-реквеста #482", u"<p>Новый экран статистики. Обратить внимание на <code>QChart</code>.</p>",
     TaskPriority::medium, TaskStatus::done, -20, 6, 0, false, false, false},
    {u"Написать тесты для API", u"", TaskPriority::high, TaskStatus::pending, 24 * 2, 5, 0, false, false, false},
    {u"Презентация для инвесторов",
     u"<h3>Структура</h3><ol><li>Проблема</li><li>Решение</li><li>Рынок</li><li>Команда</li></ol>", TaskPriority::high,
     TaskStatus::pending, 24 * 9, 7, 0, false, false, true},
    {u"Оплатить хостинг", u"", TaskPriority::high, TaskStatus::pending, -30, 10, 0, false, true, true},
    {u"Купить молоко и хлеб", u"<p>Молоко 3,2%, бородинский хлеб</p>", TaskPriority::low, TaskStatus::pending, 5, 0, 1,
     false, true, false},
    {u"Записаться к стоматологу", u"", TaskPriority::medium, TaskStatus::pending, 24 + 2, 2, 1, false, true, false},
    {u"Забрать посылку", u"<p>Пункт выдачи на Ленина, 12. Код: <b>4817</b></p>", TaskPriority::medium, TaskStatus::done,
     -4, 3, 1, false, true, true},
    {u"Поменять масло в машине", u"", TaskPriority::low, TaskStatus::pending, 24 * 20, 9, 1, false, false, false},
    {u"Позвонить маме", u"", TaskPriority::high, TaskStatus::done, -2, 1, 1, false, true, false},
    {u"Оплатить коммунальные услуги", u"<p>Свет, вода, интернет.</p>", TaskPriority::medium, TaskStatus::pending, -50,
     12, 1, false, false, true},
    {u"Разобрать кладовку", u"", TaskPriority::low, TaskStatus::cancelled, noDeadline, 15, 1, false, false, false},
    {u"Прочитать «Мастер и Маргарита»", u"<p>Перечитать к встрече книжного клуба.</p>", TaskPriority::low,
     TaskStatus::pending, 24 * 14, 8, 2, false, false, false},
    {u"Курс по Rust: глава 8", u"<p>Коллекции: <code>Vec</code>, <code>String</code>, <code>HashMap</code>.</p>",
     TaskPriority::medium, TaskStatus::pending, 24 * 3, 4, 2, false, false, false},
    {u"Посмотреть доклад про корутины", u"", TaskPriority::low, TaskStatus::done, noDeadline, 11, 2, false, false,
     false},
    {u"Выучить 20 новых слов", u"", TaskPriority::medium, TaskStatus::done, -26, 2, 2, false, true, false},
    {u"Конспект лекции по алгоритмам", u"<p>Динамическое программирование, задача о рюкзаке.</p>", TaskPriority::medium,
     TaskStatus::pending, 30, 1, 2, false, false, false},
    {u"Пробежка 5 км", u"", TaskPriority::medium, TaskStatus::done, -8, 0, 3, false, true, false},
    {u"Записаться в бассейн", u"", TaskPriority::low, TaskStatus::pending, 24 * 4, 6, 3, false, false, false},
    {u"Купить витамины", u"<p>D3 и омега-3</p>", TaskPriority::low, TaskStatus::pending, noDeadline, 13, 3, false, true,
     false},
    {u"Сдать анализы", u"", TaskPriority::high, TaskStatus::pending, 24 * 5 + 3, 3, 3, false, false, true},
    {u"Идея: бот для напоминаний о поливе цветов", u"<p>Датчик влажности + Telegram.</p>", TaskPriority::low,
     TaskStatus::pending, noDeadline, 20, -1, false, true, false},
    {u"Подарок на день рождения Ане", u"<p>Варианты: <ul><li>книга</li><li>сертификат в спа</li></ul></p>",
     TaskPriority::high, TaskStatus::pending, 24 * 8, 5, -1, false, false, false},
    {u"Ответить на письма", u"", TaskPriority::medium, TaskStatus::pending, 1, 0, -1, false, false, false},
    {u"Забронировать отель в Казани", u"<p>На 12–15 число, рядом с Кремлём.</p>", TaskPriority::medium,
     TaskStatus::pending, 24 * 12, 6, -1, false, false, false},
    {u"Продлить загранпаспорт", u"", TaskPriority::high, TaskStatus::pending, 24 * 28, 25, -1, false, false, false},
    {u"Починить кран на кухне", u"", TaskPriority::medium, TaskStatus::done, -48, 7, -1, false, true, false},
    {u"Сделать бэкап фотографий", u"<p>Google Фото → внешний диск</p>", TaskPriority::low, TaskStatus::cancelled,
     noDeadline, 18, -1, false, false, false},
    {u"Выбрать новый монитор", u"", TaskPriority::low, TaskStatus::pending, noDeadline, 4, -1, false, true, false},
    {u"Отправить документы бухгалтеру", u"", TaskPriority::high, TaskStatus::pending, 26, 1, 0, false, false, false},
    {u"Старый проект: миграция базы", u"<p>Перенесено в новый трекер.</p>", TaskPriority::medium, TaskStatus::done,
     -24 * 20, 28, 0, true, false, false},
    {u"Сдать декларацию", u"", TaskPriority::high, TaskStatus::done, -24 * 15, 27, 1, true, false, true},
    {u"Купить ёлку", u"", TaskPriority::low, TaskStatus::done, -24 * 25, 29, 1, true, true, false},
    {u"Курс английского: модуль 3", u"", TaskPriority::medium, TaskStatus::cancelled, noDeadline, 26, 2, true, false,
     false},
    {u"Отпуск: собрать чемодан", u"<p>Список вещей в заметках.</p>", TaskPriority::medium, TaskStatus::done, -24 * 10,
     22, -1, true, false, false},
    {u"Убраться на балконе", u"", TaskPriority::low, TaskStatus::pending, -24 * 3, 14, -1, false, false, false},
    {u"Настроить резервное копирование NAS", u"<p>RAID 1, расписание каждую ночь в 03:00.</p>", TaskPriority::medium,
     TaskStatus::pending, 24 * 2 + 5, 2, 0, false, false, false},
};

struct DemoFolder {
    const char16_t* name;
    const char16_t* color;
};

const DemoFolder demoFolders[] = {
    {u"Работа", u"#FF6B6B"},
    {u"Дом", u"#4ECDC4"},
    {u"Учёба", u"#A78BFA"},
    {u"Здоровье", u"#34D399"},
};

QString isoAt(const QDateTime& moment) {
    return moment.toUTC().toString(Qt::ISODateWithMs);
}

// A soft diagonal gradient, drawn pixel by pixel: no font or platform plugin needed.
QByteArray gradientPng(int width, int height, QRgb from, QRgb to) {
    QImage image(width, height, QImage::Format_RGB32);
    for (int y = 0; y < height; ++y) {
        auto* line = reinterpret_cast<QRgb*>(image.scanLine(y));
        for (int x = 0; x < width; ++x) {
            const double t = double(x + y) / double(width + height - 2);
            const auto mix = [t](int a, int b) { return int(a + (b - a) * t); };
            const bool ring = qAbs(qHypot(x - width / 2.0, y - height / 2.0) - height / 3.0) < 3.0;
            line[x] = ring
                          ? qRgb(255, 255, 255)
                          : qRgb(mix(qRed(from), qRed(to)), mix(qGreen(from), qGreen(to)), mix(qBlue(from), qBlue(to)));
        }
    }
    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    image.save(&buffer, "PNG");
    return bytes;
}

} // namespace

namespace DemoData {

qint64 ensure(ServerContext& context) {
    const QString id = QString::fromLatin1(telegramId);
    if (const auto existing = context.storage.userByTelegramId(id))
        return existing->user.id;

    const QDateTime now = context.clock.now();
    const QString avatarName =
        context.storage.addAvatar(gradientPng(128, 128, qRgb(0xE9, 0x75, 0x53), qRgb(0x8B, 0x5C, 0xF6)), u"png"_s);

    NewUser person;
    person.telegramId = id;
    person.username = u"demo"_s;
    person.firstName = u"Алексей"_s;
    person.lastName = u"Демидов"_s;
    person.isAdmin = true;
    person.avatarName = avatarName;
    const qint64 userId = context.storage.createUser(person, isoAt(now)).user.id;

    QList<qint64> folderIds;
    for (const DemoFolder& folder : demoFolders) {
        folderIds << context.storage
                         .insertFolder(userId, QString::fromUtf16(folder.name), QString::fromUtf16(folder.color),
                                       isoAt(now.addDays(-30)))
                         .id;
    }

    QList<qint64> taskIds;
    for (const DemoTask& demo : demoTasks) {
        const QDateTime created = now.addDays(-demo.createdDaysAgo).addSecs(-3600 * ((taskIds.size() * 7) % 9));
        NewTask task;
        task.title = QString::fromUtf16(demo.title);
        const QString description = QString::fromUtf16(demo.description);
        if (!description.isEmpty())
            task.description = description;
        if (demo.deadlineHours != noDeadline)
            task.deadline = isoAt(now.addSecs(qint64(demo.deadlineHours) * 3600));
        task.priority = demo.priority;
        task.source = demo.fromBot ? u"bot"_s : u"app"_s;
        if (demo.folder >= 0)
            task.folderId = folderIds[demo.folder];
        task.createdAt = isoAt(created);
        const VexoTask inserted = context.storage.insertTask(userId, task, demo.sent, isoAt(created));
        taskIds << inserted.id;
        if (demo.status != TaskStatus::pending) {
            TaskChanges changes;
            changes.status = demo.status;
            const QDateTime finished = std::min(now, created.addSecs(3600 * (5 + demo.createdDaysAgo * 3)));
            context.storage.updateTask(userId, inserted.id, changes, isoAt(finished));
        }
        if (demo.archived)
            context.storage.archiveTask(userId, inserted.id, isoAt(created.addDays(2)));
    }

    const struct {
        int task;
        const char16_t* name;
        QRgb from;
        QRgb to;
    } images[] = {
        {0, u"график-выручки.png", qRgb(0x1E, 0x3A, 0x8A), qRgb(0x22, 0xD3, 0xEE)},
        {0, u"таблица-расходов.png", qRgb(0x06, 0x5F, 0x46), qRgb(0xA3, 0xE6, 0x35)},
        {6, u"обложка.png", qRgb(0x7C, 0x2D, 0x12), qRgb(0xF5, 0x9E, 0x0B)},
        {10, u"чек.png", qRgb(0x4C, 0x1D, 0x95), qRgb(0xEC, 0x48, 0x99)},
    };
    for (const auto& image : images) {
        context.storage.addAttachment(taskIds[image.task], QString::fromUtf16(image.name), u"image/png"_s,
                                      gradientPng(640, 420, image.from, image.to), isoAt(now));
    }
    return userId;
}

} // namespace DemoData
