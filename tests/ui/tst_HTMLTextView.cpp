#include "DescriptionRenderer.h"
#include "Fonts.h"
#include "HTMLTextView.h"
#include "HostileDescriptions.h"
#include "MemoryStore.h"
#include "ScriptedServer.h"
#include "Theme.h"
#include "WidgetTest.h"

#include <QAbstractButton>
#include <QDesktopServices>
#include <QDir>
#include <QFile>
#include <QImage>
#include <QPainter>
#include <QSet>
#include <QTemporaryDir>
#include <QTextBlock>
#include <QTextDocument>
#include <QTextFragment>
#include <QTextFrame>

#include <chrono>
#include <condition_variable>
#include <fcntl.h>
#include <mutex>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

struct Fragment {
    QString text;
    QTextCharFormat format;
};

QList<Fragment> fragmentsOf(const QTextDocument& document) {
    QList<Fragment> all;
    for (QTextBlock block = document.begin(); block.isValid(); block = block.next()) {
        for (auto it = block.begin(); !it.atEnd(); ++it)
            all.append({it.fragment().text(), it.fragment().charFormat()});
    }
    return all;
}

QString flagsOf(const QTextCharFormat& format) {
    QString flags;
    if (format.fontWeight() >= QFont::Bold)
        flags += u'b';
    if (format.fontItalic())
        flags += u'i';
    if (format.fontUnderline())
        flags += u'u';
    if (format.fontStrikeOut())
        flags += u's';
    if (format.isAnchor())
        flags += u'@' + format.anchorHref();
    return flags;
}

// Text without any white space: how text reads however it was cut into lines and paragraphs.
QString squeezed(QString text) {
    text.removeIf([](QChar c) { return c.isSpace(); });
    return text;
}

// Everything the view would show, run to the end the way its timer runs it.
void showEverything(HTMLTextView& view) {
    while (view.renderStep()) {
    }
    if (view.isCut()) {
        view.showAll();
        while (view.renderStep()) {
        }
    }
}

// Counts opens and reads of anything in one folder.
class FolderWatch {
public:
    explicit FolderWatch(const QString& folder)
        : m_fd(inotify_init1(IN_NONBLOCK | IN_CLOEXEC)) {
        inotify_add_watch(m_fd, QFile::encodeName(folder).constData(), IN_OPEN | IN_ACCESS);
    }
    ~FolderWatch() { ::close(m_fd); }
    FolderWatch(const FolderWatch&) = delete;
    FolderWatch& operator=(const FolderWatch&) = delete;

    QStringList events() const {
        QStringList names;
        alignas(inotify_event) char buffer[4096];
        for (;;) {
            const ssize_t read = ::read(m_fd, buffer, sizeof buffer);
            if (read <= 0)
                return names;
            for (char* at = buffer; at < buffer + read;) {
                const auto* event = reinterpret_cast<const inotify_event*>(at);
                names.append(event->len > 0 ? QString::fromLocal8Bit(event->name) : u"(folder)"_s);
                at += sizeof(inotify_event) + event->len;
            }
        }
    }

private:
    int m_fd;
};

int openSockets() {
    int count = 0;
    const QDir fds(u"/proc/self/fd"_s);
    for (const QString& name : fds.entryList(QDir::AllEntries | QDir::System | QDir::NoDotAndDotDot)) {
        char target[256] = {};
        if (::readlink(QFile::encodeName(fds.filePath(name)).constData(), target, sizeof target - 1) > 0 &&
            qstrncmp(target, "socket:", 7) == 0)
            ++count;
    }
    return count;
}

// Opening a FIFO nobody writes to blocks for good. Should the test thread get stuck there, this
// opens the other end after a while so that it goes on, and remembers that it had to.
class FifoWatchdog {
public:
    FifoWatchdog(const QByteArray& fifo, std::chrono::milliseconds patience)
        : m_thread([this, fifo, patience] {
            std::unique_lock lock(m_mutex);
            if (m_wake.wait_for(lock, patience, [this] { return m_done; }))
                return;
            m_fired = true;
            while (!m_done) {
                lock.unlock();
                const int fd = ::open(fifo.constData(), O_WRONLY | O_NONBLOCK);
                if (fd >= 0)
                    ::close(fd);
                std::this_thread::sleep_for(20ms);
                lock.lock();
            }
        }) {}
    ~FifoWatchdog() { finish(); }
    FifoWatchdog(const FifoWatchdog&) = delete;
    FifoWatchdog& operator=(const FifoWatchdog&) = delete;

    // True when the test thread was stuck and had to be set free.
    bool finish() {
        {
            std::lock_guard lock(m_mutex);
            m_done = true;
        }
        m_wake.notify_all();
        if (m_thread.joinable())
            m_thread.join();
        return m_fired;
    }

private:
    std::mutex m_mutex;
    std::condition_variable m_wake;
    bool m_done = false;
    bool m_fired = false;
    std::thread m_thread;
};

class LinkCatcher final : public QObject {
    Q_OBJECT

public:
    QList<QUrl> opened;

public Q_SLOTS:
    void open(const QUrl& url) { opened.append(url); }
};

} // namespace

class tst_HTMLTextView final : public QObject {
    Q_OBJECT

private:
    MemoryStore m_store;
    std::unique_ptr<Theme> m_theme;
    QTemporaryDir m_folder;
    QString m_fifo;
    QString m_picture;
    ScriptedServer m_server;

    std::unique_ptr<HTMLTextView> shownView() {
        auto view = std::make_unique<HTMLTextView>(*m_theme);
        view->resize(600, 400);
        view->show();
        return view;
    }

private Q_SLOTS:
    void initTestCase() {
        m_theme = std::make_unique<Theme>(m_store);
        m_theme->apply();
        QVERIFY(m_folder.isValid());
        m_fifo = m_folder.filePath(u"fifo"_s);
        QCOMPARE(::mkfifo(QFile::encodeName(m_fifo).constData(), 0600), 0);
        // A picture a document would happily load and draw.
        m_picture = m_folder.filePath(u"picture.png"_s);
        QImage picture(8, 8, QImage::Format_RGB32);
        picture.fill(Qt::red);
        QVERIFY(picture.save(m_picture));
        QVERIFY(m_server.listen());
    }

    void init() { m_theme->setPreference(u"dark"_s); }

    void colorsAndSizesNeverWin_data() {
        QTest::addColumn<QString>("html");
        QTest::newRow("font element") << u"<font color=\"#0000ff\" size=\"7\" face=\"Courier\">синий</font> текст"_s;
        QTest::newRow("inline style")
            << u"<span style=\"color:black;font-size:48px;font-family:serif\">чёрный</span> и <b style=\"color:#00f\">жирный</b>"_s;
        QTest::newRow("style element") << u"<style>* { color: #000 !important; font-size: 30pt }</style><p>абзац</p>"_s;
        QTest::newRow("headings") << u"<h1>Заголовок</h1><h6 style=\"font-size:2px\">мелкий</h6>текст"_s;
        QTest::newRow("big and small") << u"<big>большой</big> <small>малый</small> <sub>н</sub><sup>в</sup>"_s;
        QTest::newRow("white on white") << u"<p style=\"background:#fff;color:#fff\">белый</p>"_s;
        QTest::newRow("coloured link")
            << u"<a href=\"https://example.org\" style=\"color:black\"><font color=\"blue\">ссылка</font></a>"_s;
        QTest::newRow("body colours")
            << u"<body text=\"#000\" link=\"#00f\" bgcolor=\"#fff\">текст <a href=\"https://e.org\">ссылка</a></body>"_s;
        QTest::newRow("list items") << u"<ol style=\"color:red\"><li style=\"font-size:40px\">пункт</li></ol>"_s;
        QTest::newRow("plain text instead") << u"<script>var x = 1;</script>"_s;
    }

    // The 14 pt font and the secondary text colour (accent for links) win over anything the
    // description says, in either theme and after the theme changes under a shown description.
    void colorsAndSizesNeverWin() {
        QFETCH(QString, html);
        auto view = shownView();
        view->setHtmlDescription(html);
        for (const QString& theme : {u"dark"_s, u"light"_s, u"dark"_s}) {
            m_theme->setPreference(theme);
            const Palette& p = m_theme->palette();
            const QList<Fragment> fragments = fragmentsOf(*view->document());
            QVERIFY(!fragments.isEmpty());
            bool links = false;
            bool text = false;
            for (const Fragment& fragment : fragments) {
                QCOMPARE(fragment.format.font().pixelSize(), uiFont(14).pixelSize());
                QVERIFY(!fragment.format.hasProperty(QTextFormat::FontPointSize));
                QCOMPARE(fragment.format.font().family(), uiFont(14).family());
                QVERIFY(fragment.format.fontWeight() == uiFont(14).weight() ||
                        fragment.format.fontWeight() == QFont::Bold);
                QVERIFY(!fragment.format.hasProperty(QTextFormat::BackgroundBrush));
                // Text draws in the view's text colour; only links have one of their own.
                if (fragment.format.isAnchor()) {
                    links = true;
                    QCOMPARE(fragment.format.foreground().color(), p.accent);
                    QVERIFY(fragment.format.fontUnderline());
                } else {
                    text = text || !fragment.text.trimmed().isEmpty();
                    QVERIFY(!fragment.format.hasProperty(QTextFormat::ForegroundBrush));
                }
            }
            for (QTextBlock block = view->document()->begin(); block.isValid(); block = block.next())
                QVERIFY(!block.charFormat().hasProperty(QTextFormat::ForegroundBrush));
            QCOMPARE(view->palette().color(QPalette::Text), p.textSecondary);

            // And so it shows: the secondary colour (and the accent for links) on screen, never
            // a colour of the description's.
            QImage picture(view->size(), QImage::Format_RGB32);
            picture.fill(p.background);
            view->render(&picture);
            QSet<QRgb> colors;
            for (int y = 0; y < picture.height(); ++y) {
                const auto* line = reinterpret_cast<const QRgb*>(picture.constScanLine(y));
                colors.unite(QSet<QRgb>(line, line + picture.width()));
            }
            QCOMPARE(colors.contains(p.textSecondary.rgb()), text);
            QCOMPARE(colors.contains(p.accent.rgb()), links);
            for (const QColor foreign : {QColor(Qt::blue), QColor(Qt::black), QColor(Qt::white), QColor(Qt::red)})
                QVERIFY2(!colors.contains(foreign.rgb()), qPrintable(foreign.name()));
        }
    }

    void keepsFormatting_data() {
        QTest::addColumn<QString>("html");
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("flags");
        QTest::newRow("bold") << u"a <b>жирный</b> b"_s << u"жирный"_s << u"b"_s;
        QTest::newRow("strong") << u"a <strong>жирный</strong> b"_s << u"жирный"_s << u"b"_s;
        QTest::newRow("italic") << u"a <i>курсив</i> b"_s << u"курсив"_s << u"i"_s;
        QTest::newRow("underline") << u"a <u>подчёркнутый</u> b"_s << u"подчёркнутый"_s << u"u"_s;
        QTest::newRow("strike-through") << u"a <s>зачёркнутый</s> b"_s << u"зачёркнутый"_s << u"s"_s;
        QTest::newRow("all") << u"<b><i><u><s>всё</s></u></i></b>"_s << u"всё"_s << u"bius"_s;
        QTest::newRow("heading") << u"<h2>Заголовок</h2>"_s << u"Заголовок"_s << u"b"_s;
        QTest::newRow("link") << u"см. <a href=\"https://example.org/x\">ссылку</a>"_s << u"ссылку"_s
                              << u"u@https://example.org/x"_s;
        QTest::newRow("tg link") << u"<a href=\"tg://resolve?domain=vexo\">бот</a>"_s << u"бот"_s
                                 << u"u@tg://resolve?domain=vexo"_s;
        QTest::newRow("mailto link") << u"<a href=\"mailto:a@example.org\">почта</a>"_s << u"почта"_s
                                     << u"u@mailto:a@example.org"_s;
        QTest::newRow("javascript is text") << u"<a href=\"javascript:alert(1)\">нет</a>"_s << u"нет"_s << QString();
        QTest::newRow("file is text") << u"<a href=\"file:///etc/passwd\">нет</a>"_s << u"нет"_s << QString();
        QTest::newRow("plain") << u"обычный"_s << u"обычный"_s << QString();
    }

    void keepsFormatting() {
        QFETCH(QString, html);
        QFETCH(QString, text);
        QFETCH(QString, flags);
        auto view = shownView();
        view->setHtmlDescription(html);
        QVERIFY(view->showsImport());
        const QList<Fragment> fragments = fragmentsOf(*view->document());
        const auto found = std::find_if(fragments.cbegin(), fragments.cend(),
                                        [&](const Fragment& fragment) { return fragment.text == text; });
        QVERIFY2(found != fragments.cend(), qPrintable(view->toPlainText()));
        QCOMPARE(flagsOf(found->format), flags);
    }

    void structure_data() {
        QTest::addColumn<QString>("html");
        QTest::addColumn<QString>("plain");
        QTest::newRow("paragraphs") << u"<p>один</p><p>два</p>"_s << u"один\nдва"_s;
        QTest::newRow("line break") << u"один<br>два"_s << u"один\nдва"_s;
        QTest::newRow("list") << u"<ul><li>молоко</li><li>хлеб</li></ul>"_s << u"• молоко\n• хлеб"_s;
        QTest::newRow("numbered list") << u"<ol><li>один</li><li>два</li></ol>"_s << u"1. один\n2. два"_s;
        QTest::newRow("nested lists")
            << u"<ol><li>а<ul><li>б<ul><li>в<ul><li>г</li></ul></li></ul></li></ul></li><li>д</li></ol>"_s
            << u"1. а\n◦ б\n▪ в\n▪ г\n2. д"_s;
        QTest::newRow("table") << u"<table><tr><td>а</td><td>б</td></tr><tr><td>в</td><td>г</td></tr></table>"_s
                               << u"а б\nв г"_s;
        QTest::newRow("white space") << u"  много   \n пробелов  "_s << u"много пробелов"_s;
    }

    void structure() {
        QFETCH(QString, html);
        QFETCH(QString, plain);
        auto view = shownView();
        view->setHtmlDescription(html);
        QCOMPARE(view->toPlainText(), plain);
        // Nothing of what a document can hold besides text: no tables, frames, images or lists.
        QVERIFY(view->document()->rootFrame()->childFrames().isEmpty());
        QVERIFY(view->document()->allFormats().size() > 0);
        for (const QTextFormat& format : view->document()->allFormats()) {
            QVERIFY(!format.isImageFormat());
            QVERIFY(!format.isTableFormat());
            QVERIFY(!format.isListFormat());
        }
    }

    void listsHangTheirMarkers() {
        auto view = shownView();
        view->setHtmlDescription(u"<ul><li>пункт</li><li><p>один</p><p>второй абзац</p></li></ul>"_s);
        const QTextBlock item = view->document()->begin();
        QVERIFY(item.blockFormat().leftMargin() > 0);
        QVERIFY(item.blockFormat().textIndent() < 0);
        const QTextBlock inside = item.next().next();
        QCOMPARE(inside.text(), u"второй абзац"_s);
        QCOMPARE(inside.blockFormat().leftMargin(), item.blockFormat().leftMargin());
        QCOMPARE(inside.blockFormat().textIndent(), 0.0);
    }

    void emptyDescriptionShowsNothing() {
        auto view = shownView();
        view->setHtmlDescription(QString());
        QCOMPARE(view->toPlainText(), QString());
        QVERIFY(!view->showsImport());
        QCOMPARE(view->parsedBytes(), 0);
        view->setHtmlDescription(u"<p>что-то</p>"_s);
        QVERIFY(view->showsImport());
        QVERIFY(view->parsedBytes() > 0);
        view->setHtmlDescription(QString());
        QCOMPARE(view->toPlainText(), QString());
        QVERIFY(!view->showsImport());
        QCOMPARE(view->parsedBytes(), 0);
        QVERIFY(view->showAllButton()->isHidden());
    }

    void fallsBackToPlainText_data() {
        QTest::addColumn<QString>("html");
        QTest::addColumn<QString>("plain");
        QTest::newRow("head only") << u"<html><head><title>Только заголовок</title></head></html>"_s
                                   << u"Только заголовок"_s;
        QTest::newRow("script only") << u"<script>var x = 1 &amp;&amp; 2;</script>"_s << u"var x = 1 && 2;"_s;
        QTest::newRow("image only") << u"<img src=\"x.png\">"_s << QString();
        QTest::newRow("lines kept") << u"<style>\na\nb\n</style>"_s << u"a\nb"_s;
    }

    void fallsBackToPlainText() {
        QFETCH(QString, html);
        QFETCH(QString, plain);
        auto view = shownView();
        view->setHtmlDescription(html);
        QVERIFY(!view->showsImport());
        QCOMPARE(view->toPlainText(), plain);
    }

    void cutsLongDescriptions_data() {
        QTest::addColumn<QString>("html");
        QTest::addColumn<bool>("cut");
        constexpr qsizetype cap = DescriptionRenderer::firstRender.characters;
        const QString word = u"слово "_s;
        QTest::newRow("short") << u"<p>коротко</p>"_s << false;
        QTest::newRow("just fits") << QString(cap, u'ж') << false;
        QTest::newRow("one more") << QString(cap + 1, u'ж') << true;
        QTest::newRow("long text") << word.repeated(20000) << true;
        QTest::newRow("many paragraphs") << u"<p>абзац</p>"_s.repeated(DescriptionRenderer::firstRender.blocks * 3)
                                         << true;
        QTest::newRow("many links") << u"<a href=\"https://example.org/\">с</a> "_s.repeated(
                                           DescriptionRenderer::firstRender.pieces * 3)
                                    << true;
        QTest::newRow("long list") << u"<ol>"_s + u"<li>пункт</li>"_s.repeated(1000) + u"</ol>"_s << true;
        QTest::newRow("plain text instead") << u"<script>"_s + word.repeated(20000) + u"</script>"_s << true;
        QTest::newRow("markup heavy, little text")
            << u"<div><span><b></b></span></div>"_s.repeated(30000) + u"в конце"_s << false;
    }

    // "Показать полностью" appears only when the description is cut, and shows the rest in steps,
    // between which the event loop runs.
    void cutsLongDescriptions() {
        QFETCH(QString, html);
        QFETCH(bool, cut);
        auto view = shownView();
        view->setHtmlDescription(html);
        QTRY_VERIFY_WITH_TIMEOUT(!view->renderStep(), 60'000);
        QCOMPARE(view->isCut(), cut);
        QCOMPARE(!view->showAllButton()->isHidden(), cut);
        QCOMPARE(view->showAllButton()->text(), u"Показать полностью"_s);

        HTMLTextView whole(*m_theme);
        whole.setHtmlDescription(html);
        showEverything(whole);
        QVERIFY(!whole.isCut());
        const QString everything = squeezed(whole.toPlainText());
        const QString shown = squeezed(view->toPlainText());
        if (!cut) {
            QCOMPARE(shown, everything);
            return;
        }
        // Below the text, on the view.
        QVERIFY(view->rect().contains(view->showAllButton()->geometry()));
        QVERIFY(view->showAllButton()->geometry().top() >= view->viewport()->geometry().bottom());
        QVERIFY(shown.size() < everything.size());
        QVERIFY(everything.startsWith(shown));
        QVERIFY(view->document()->characterCount() <= DescriptionRenderer::firstRender.characters + 64);

        int turns = 0;
        QTimer ticker;
        ticker.setInterval(0);
        connect(&ticker, &QTimer::timeout, this, [&] { ++turns; });
        ticker.start();
        const int before = view->document()->characterCount();
        QTest::mouseClick(view->showAllButton(), Qt::LeftButton);
        QVERIFY(view->isRevealing());
        QVERIFY(view->showAllButton()->isHidden());
        QCOMPARE(view->document()->characterCount(), before); // nothing yet: the steps run from the loop
        QTRY_VERIFY_WITH_TIMEOUT(!view->isRevealing(), 120'000);
        QVERIFY(!view->isCut());
        QVERIFY(view->showAllButton()->isHidden());
        QCOMPARE(squeezed(view->toPlainText()), everything);
        const qsizetype steps = (everything.size() - shown.size()) / DescriptionRenderer::step.characters;
        QVERIFY2(turns >= steps, qPrintable(u"%1 turns for %2 steps"_s.arg(turns).arg(steps)));
    }

    void revealGoesOnByItself() {
        auto view = shownView();
        const QString html = u"<p>Слово за словом, строка за строкой.</p>"_s.repeated(3000);
        view->setHtmlDescription(html);
        QVERIFY(view->isCut());
        const int first = view->document()->characterCount();
        view->showAll();
        QCoreApplication::processEvents();
        const int second = view->document()->characterCount();
        QVERIFY(second > first);
        QVERIFY(second - first <= DescriptionRenderer::step.characters + 1000);
        QVERIFY(view->isRevealing());
        QTRY_VERIFY_WITH_TIMEOUT(!view->isRevealing(), 60'000);
        QCOMPARE(view->toPlainText().count(u"Слово за словом"_s), 3000);
    }

    void sameDescriptionKeepsWhatIsShown() {
        auto view = shownView();
        const QString html = u"текст "_s.repeated(5000);
        view->setHtmlDescription(html);
        showEverything(*view);
        const QString everything = view->toPlainText();
        view->setHtmlDescription(html);
        QCOMPARE(view->toPlainText(), everything);
        QVERIFY(!view->isCut());
        view->setHtmlDescription(html + u"и ещё"_s);
        QVERIFY(view->isCut());
    }

    void linksOpenInTheBrowser() {
        LinkCatcher catcher;
        for (const char* scheme : {"http", "https", "mailto", "tg", "javascript", "file"})
            QDesktopServices::setUrlHandler(QString::fromLatin1(scheme), &catcher, "open");
        auto view = shownView();
        view->setHtmlDescription(u"<p><a href=\"https://example.org/x\">первая</a> и "
                                 u"<a href=\"javascript:alert(1)\">вторая</a></p>"_s);
        const auto clickOn = [&](const QString& text) {
            QTextCursor cursor = view->document()->find(text);
            QVERIFY(!cursor.isNull());
            cursor.setPosition(cursor.selectionStart() + 2);
            const QPoint at = view->cursorRect(cursor).center();
            QTest::mouseClick(view->viewport(), Qt::LeftButton, {}, at);
        };
        clickOn(u"первая"_s);
        QTRY_COMPARE(catcher.opened, QList<QUrl>{QUrl(u"https://example.org/x"_s)});
        clickOn(u"вторая"_s);
        QTest::qWait(100);
        QCOMPARE(catcher.opened.size(), 1);
        for (const char* scheme : {"http", "https", "mailto", "tg", "javascript", "file"})
            QDesktopServices::unsetUrlHandler(QString::fromLatin1(scheme));
        QVERIFY(view->textInteractionFlags() & Qt::TextSelectableByMouse);
        QVERIFY(view->textInteractionFlags() & Qt::TextSelectableByKeyboard ||
                view->textInteractionFlags() & Qt::LinksAccessibleByKeyboard);
    }

    void descriptionsFetchNothing_data() {
        QTest::addColumn<QString>("html");
        for (const HostileDescription& description : fileReferencingDescriptions(m_fifo))
            QTest::newRow(qPrintable(u"fifo: "_s + description.name)) << description.html;
        for (const HostileDescription& description : fileReferencingDescriptions(m_picture))
            QTest::newRow(qPrintable(u"file: "_s + description.name)) << description.html;
        for (const HostileDescription& description :
             fileReferencingDescriptions(m_server.baseUrl().mid(qsizetype(qstrlen("http://"))) + u"/x.png"_s)) {
            QString html = description.html;
            QTest::newRow(qPrintable(u"network: "_s + description.name))
                << html.replace(u"file://"_s, u"http://"_s).replace(u"\"127."_s, u"\"http://127."_s);
        }
    }

    // Rendering a description opens no file and no socket: a path to a FIFO would hang it for
    // good, a local picture would be read and drawn.
    void descriptionsFetchNothing() {
        QFETCH(QString, html);
        FolderWatch folder(m_folder.path());
        const int sockets = openSockets();
        FifoWatchdog watchdog(QFile::encodeName(m_fifo), 10s);
        {
            auto view = shownView();
            view->setHtmlDescription(html);
            showEverything(*view);
            QImage picture(view->size(), QImage::Format_ARGB32);
            view->render(&picture);
            QCoreApplication::processEvents();
            QVERIFY(view->toPlainText().contains(u"текст"_s) || view->toPlainText().isEmpty());
        }
        QVERIFY2(!watchdog.finish(), "rendering opened the FIFO");
        const QStringList opened = folder.events();
        QVERIFY2(opened.isEmpty(), qPrintable(opened.join(u", "_s)));
        QCOMPARE(openSockets(), sockets);
        QVERIFY(m_server.requests().isEmpty());
    }

    void theDocumentItselfLoadsNothing_data() {
        QTest::addColumn<QString>("html");
        for (const HostileDescription& description : fileReferencingDescriptions(m_picture))
            QTest::newRow(qPrintable(description.name)) << description.html;
    }

    // The view's document is a guard of its own: HTML that reached it past the sanitizer still
    // loads no file when it is laid out and drawn.
    void theDocumentItselfLoadsNothing() {
        QFETCH(QString, html);
        FolderWatch folder(m_folder.path());
        {
            auto view = shownView();
            view->document()->setHtml(html);
            QImage picture(view->size(), QImage::Format_ARGB32);
            view->render(&picture);
            QCoreApplication::processEvents();
        }
        const QStringList opened = folder.events();
        QVERIFY2(opened.isEmpty(), qPrintable(opened.join(u", "_s)));
    }

    void hostileCorpusCompletes_data() {
        QTest::addColumn<QString>("html");
        for (const HostileDescription& description : hostileDescriptions())
            QTest::newRow(qPrintable(description.name)) << description.html;
    }

    // Every hostile description renders to its end, as text and nothing else.
    void hostileCorpusCompletes() {
        QFETCH(QString, html);
        auto view = shownView();
        view->setHtmlDescription(html);
        showEverything(*view);
        QVERIFY(!view->isCut());
        QCOMPARE(view->parsedBytes(), html.toUtf8().size());
        const QTextDocument& document = *view->document();
        QVERIFY(document.rootFrame()->childFrames().isEmpty());
        QVERIFY(!document.toPlainText().contains(QChar::ObjectReplacementCharacter));
        // However long a paragraph, it is laid out in parts: the layout of one paragraph grows
        // faster than its length.
        for (QTextBlock block = document.begin(); block.isValid(); block = block.next())
            QVERIFY2(block.length() <= 4096, qPrintable(QString::number(block.length())));
        QImage picture(view->size(), QImage::Format_ARGB32);
        view->render(&picture);
    }
};

VEXO_WIDGET_TEST_MAIN(tst_HTMLTextView)
#include "tst_HTMLTextView.moc"
