#include "Await.h"
#include "ClientRig.h"
#include "EmojiText.h"
#include "HTMLTextView.h"
#include "LocalService.h"
#include "TaskDetailView.h"
#include "TaskListModel.h"
#include "TaskListView.h"
#include "TaskRowDelegate.h"
#include "Theme.h"
#include "ToastOverlay.h"
#include "WidgetTest.h"

#include <QLabel>
#include <QListView>
#include <QPainter>
#include <QTextCursor>
#include <QTextDocument>

using namespace Qt::StringLiterals;
using vexo::test::await;

using Ranges = QList<std::pair<qsizetype, qsizetype>>;

namespace {

// Pixels of a clear hue: emoji have them, text in the palette's greys has none.
int colourfulPixels(const QImage& image, const QRect& area) {
    const QImage pixels = image.convertToFormat(QImage::Format_ARGB32);
    const QRect physical(area.topLeft() * image.devicePixelRatio(), area.size() * image.devicePixelRatio());
    int count = 0;
    for (int y = std::max(0, physical.top()); y <= std::min(pixels.height() - 1, physical.bottom()); ++y) {
        for (int x = std::max(0, physical.left()); x <= std::min(pixels.width() - 1, physical.right()); ++x) {
            const QColor colour = pixels.pixelColor(x, y);
            if (colour.alpha() > 128 && colour.hsvSaturation() > 100 && colour.value() > 60)
                ++count;
        }
    }
    return count;
}

QImage canvas(QSize size, qreal scale, const QColor& ground) {
    QImage image(size * scale, QImage::Format_ARGB32_Premultiplied);
    image.setDevicePixelRatio(scale);
    image.fill(ground);
    return image;
}

} // namespace

// Emoji in task titles are drawn in colour, at every scale: in the rows, on the task page and in the
// toast. "❤️" is the hard one: the text font has a black heart of its own.
class tst_Emoji final : public QObject {
    Q_OBJECT

private:
    std::unique_ptr<LocalService> m_service;
    std::unique_ptr<ClientRig> m_client;
    std::unique_ptr<Theme> m_theme;

    void addScales() {
        QTest::addColumn<QString>("title");
        QTest::addColumn<qreal>("scale");
        for (const QString& emoji : {u"🎂"_s, u"❤️"_s, u"⚡"_s}) {
            for (const qreal scale : {1.0, 1.5, 2.0, 3.0})
                QTest::addRow("%s at %.1f", emoji.toUtf8().constData(), scale)
                    << u"Торт %1 в 18:00"_s.arg(emoji) << scale;
        }
    }

private Q_SLOTS:
    void initTestCase() {
        m_service = std::make_unique<LocalService>();
        const QString key = m_service->addUser(u"900"_s);
        m_client = std::make_unique<ClientRig>(m_service->baseUrl(), m_service->clock());
        await(m_client->state.login(key));
        m_theme = std::make_unique<Theme>(m_client->store);
    }

    void cleanupTestCase() {
        m_theme.reset();
        m_client.reset();
    }

    void emojiRanges_data() {
        QTest::addColumn<QString>("text");
        QTest::addColumn<Ranges>("ranges");
        QTest::newRow("plain") << u"Купить хлеб, 2 шт. #1 ©"_s << Ranges{};
        QTest::newRow("a pictograph") << u"Торт 🎂"_s << Ranges{{5, 7}};
        QTest::newRow("a heart asked for as emoji") << u"Я ❤️ это"_s << Ranges{{2, 4}};
        QTest::newRow("a heart as text") << u"Я ❤ это"_s << Ranges{};
        QTest::newRow("a heart asked for as text") << u"Я ❤︎ это"_s << Ranges{};
        QTest::newRow("emoji by default") << u"Срочно ⚡"_s << Ranges{{7, 8}};
        QTest::newRow("a keycap") << u"Шаг 1️⃣"_s << Ranges{{4, 7}};
        QTest::newRow("a flag") << u"🇷🇺 Москва"_s << Ranges{{0, 4}};
        QTest::newRow("a skin tone") << u"👍🏽 ок"_s << Ranges{{0, 4}};
        QTest::newRow("a family joined") << u"👨‍👩‍👧"_s << Ranges{{0, 8}};
        QTest::newRow("side by side") << u"🎉🎂!"_s << Ranges{{0, 4}};
        QTest::newRow("a digit alone") << u"1 задача"_s << Ranges{};
    }

    void emojiRanges() {
        QFETCH(QString, text);
        QFETCH(Ranges, ranges);
        QCOMPARE(EmojiText::emojiRanges(text), ranges);
    }

    void elidingCutsBetweenWholeEmoji() {
        QFont font;
        font.setPixelSize(14);
        const QString text =
            u"👨‍👩‍👧👨‍👩‍👧👨‍👩‍👧👨‍👩‍👧👨‍👩‍👧"_s;
        const qreal full = EmojiText::width(text, font);
        const QString cut = EmojiText::elided(text, font, full * 0.6);
        QVERIFY(cut.endsWith(u"…"_s));
        QCOMPARE((cut.size() - 1) % 8, 0);
        QVERIFY(EmojiText::width(cut, font) <= full * 0.6);
        QCOMPARE(EmojiText::elided(text, font, full), text);
    }

    void aLabelKeepsTheTitleAsItIs() {
        QLabel label;
        label.setTextFormat(Qt::RichText);
        label.setText(EmojiText::toHtml(u"<b>не жирный</b> & ❤️  два пробела"_s));
        QCOMPARE(label.text().contains(u"<b>"_s), false);
        QVERIFY(label.text().contains(u"&lt;b&gt;"_s));
        QVERIFY(label.text().contains(u"white-space:pre-wrap"_s));
    }

    void aDocumentGetsItsEmojiSet() {
        QTextDocument document;
        document.setHtml(
            u"<p>Заказать <b>до пятницы ❤️</b></p><ul><li>торт 🎂</li><li>2 шт.</li></ul>"_s);
        EmojiText::applyTo(document);
        const auto familiesAt = [&](const QString& text) {
            const QTextCursor found = document.find(text);
            QTextCursor at(&document);
            at.setPosition(found.selectionEnd());
            return at.charFormat().fontFamilies().toStringList();
        };
        QCOMPARE(familiesAt(u"❤️"_s), EmojiText::emojiFamilies());
        QCOMPARE(familiesAt(u"🎂"_s), EmojiText::emojiFamilies());
        QVERIFY(familiesAt(u"пятницы"_s).isEmpty());
        QVERIFY(familiesAt(u"2 шт."_s).isEmpty());
        // The markup around it is kept.
        QTextCursor bold = document.find(u"❤️"_s);
        QCOMPARE(bold.charFormat().fontWeight(), int(QFont::Bold));
    }

    void aDescriptionGetsItsEmojiSet() {
        HTMLTextView view(*m_theme);
        view.resize(500, 300);
        view.setHtmlDescription(
            u"<p>Заказать <b>до пятницы ❤️</b></p><ul><li>торт 🎂 и ⚡</li></ul>"_s);
        QTRY_VERIFY(view.toPlainText().contains(u"⚡"_s));
        QTextDocument& document = *view.document();
        const auto familiesAt = [&](const QString& text) {
            const QTextCursor found = document.find(text);
            QTextCursor at(&document);
            at.setPosition(found.selectionEnd());
            return at.charFormat().fontFamilies().toStringList();
        };
        QCOMPARE(familiesAt(u"❤️"_s), EmojiText::emojiFamilies());
        QCOMPARE(familiesAt(u"🎂"_s), EmojiText::emojiFamilies());
        QCOMPARE(familiesAt(u"⚡"_s), EmojiText::emojiFamilies());
        QVERIFY(familiesAt(u"пятницы"_s) != EmojiText::emojiFamilies());
        QCOMPARE(document.find(u"❤️"_s).charFormat().fontWeight(), int(QFont::Bold));
    }

    void rows_data() { addScales(); }

    void rows() {
        QFETCH(QString, title);
        QFETCH(qreal, scale);
        await(m_client->state.createTask(title, TaskPriority::medium, std::nullopt, std::nullopt));
        TaskListView view(m_client->state, *m_theme);
        view.resize(700, 500);
        const QModelIndex index = view.model()->index(0, 0);
        QStyleOptionViewItem option;
        option.initFrom(view.listView()->viewport());
        option.widget = view.listView()->viewport();
        option.state = QStyle::State_Enabled;
        const QSize size = view.delegate()->sizeHint(option, index);
        option.rect = QRect(QPoint(0, 0), QSize(600, size.height()));
        QImage image = canvas(option.rect.size(), scale, m_theme->palette().background);
        QPainter painter(&image);
        view.delegate()->paint(&painter, option, index);
        painter.end();
        // The title's line: from the check box's right to the row's end, the height of the title.
        const QRect box = TaskRowDelegate::checkBoxRect(
            option.rect.adjusted(TaskRowDelegate::sideInset, 0, -TaskRowDelegate::sideInset, 0));
        const QRect titleLine(box.right() + 4, option.rect.top(), option.rect.width() - box.right() - 4,
                              box.bottom() + 6);
        QVERIFY2(colourfulPixels(image, titleLine) > 20 * scale * scale,
                 qPrintable(u"%1 colourful pixels"_s.arg(colourfulPixels(image, titleLine))));
        await(m_client->state.deleteTask(m_client->state.tasks().first().id));
    }

    void theTaskPage_data() { addScales(); }

    void theTaskPage() {
        QFETCH(QString, title);
        QFETCH(qreal, scale);
        TaskDetailView page(m_client->state, *m_theme);
        page.resize(700, 600);
        VexoTask task;
        task.id = 1;
        task.title = title;
        task.createdAt = u"2025-03-01"_s;
        page.showTask(task);
        QCOMPARE(page.titleText(), title);
        QLabel* label = nullptr;
        for (QLabel* each : page.findChildren<QLabel*>()) {
            if (each->accessibleName() == title)
                label = each;
        }
        QVERIFY(label);
        label->resize(600, label->heightForWidth(600));
        QImage image = canvas(label->size(), scale, m_theme->palette().background);
        label->render(&image);
        QVERIFY(colourfulPixels(image, label->rect()) > 40 * scale * scale);
    }

    void theToast_data() { addScales(); }

    void theToast() {
        QFETCH(QString, title);
        QFETCH(qreal, scale);
        QWidget window;
        window.resize(700, 500);
        ToastOverlay toast(m_client->state, *m_theme, &window);
        window.show();
        m_client->state.showToast(title);
        QTRY_VERIFY(toast.isVisible());
        QTRY_COMPARE(toast.reveal(), 1.0); // the toast has slid in
        QImage image = canvas(toast.size(), scale, m_theme->palette().background);
        toast.render(&image);
        QVERIFY(colourfulPixels(image, toast.rect()) > 20 * scale * scale);
        m_client->state.showToast(std::nullopt);
    }
};

VEXO_WIDGET_TEST_MAIN(tst_Emoji)
#include "tst_Emoji.moc"
