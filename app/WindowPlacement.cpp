#include "WindowPlacement.h"

#include "KeyValueStore.h"

#include <QEvent>
#include <QGuiApplication>
#include <QScreen>
#include <QSplitter>
#include <QWidget>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

const QString windowKey = u"vexo_window"_s;
const QString sidebarKey = u"vexo_sidebar_width"_s;

QList<QRect> availableScreens() {
    QList<QRect> screens;
    if (QScreen* primary = QGuiApplication::primaryScreen())
        screens << primary->availableGeometry();
    for (QScreen* screen : QGuiApplication::screens()) {
        if (screen != QGuiApplication::primaryScreen())
            screens << screen->availableGeometry();
    }
    return screens;
}

} // namespace

WindowPlacement::WindowPlacement(KeyValueStore& store, QWidget& window, QSplitter* splitter, QObject* parent)
    : QObject(parent)
    , m_store(store)
    , m_window(window)
    , m_splitter(splitter) {
    restore();
    m_window.installEventFilter(this);
    followSplitter(splitter);
}

void WindowPlacement::followSplitter(QSplitter* splitter) {
    m_splitter = splitter;
    if (!m_splitter)
        return;
    m_splitter->installEventFilter(this);
    // One already on screen has its width and gets no resize to wait for.
    if (m_splitter->isVisible())
        applySidebarWidth();
}

void WindowPlacement::applySidebarWidth() {
    if (!m_splitter || !m_sidebarWidth || m_splitter->width() <= 0)
        return;
    const int total = m_splitter->width() - m_splitter->handleWidth();
    const int sidebar = std::min(*m_sidebarWidth, total / 2);
    m_splitter->setSizes({sidebar, total - sidebar});
    m_sidebarWidth.reset();
}

QRect WindowPlacement::clamp(const QRect& saved, const QList<QRect>& screens) {
    if (screens.isEmpty())
        return saved;
    QRect screen = screens.first();
    qint64 bestOverlap = 0;
    for (const QRect& each : screens) {
        const QRect overlap = each.intersected(saved);
        const qint64 area = overlap.isEmpty() ? 0 : qint64(overlap.width()) * overlap.height();
        if (area > bestOverlap) {
            bestOverlap = area;
            screen = each;
        }
    }
    const QSize size = saved.size().boundedTo(screen.size()).expandedTo(QSize(1, 1));
    const int x = std::clamp(saved.x(), screen.left(), screen.right() + 1 - size.width());
    const int y = std::clamp(saved.y(), screen.top(), screen.bottom() + 1 - size.height());
    return QRect(QPoint(x, y), size);
}

QRect WindowPlacement::centred(const QSize& size, const QRect& screen) {
    QRect rect(QPoint(0, 0), size.boundedTo(screen.size()));
    rect.moveCenter(screen.center());
    return rect;
}

QString WindowPlacement::encode(const Saved& saved) {
    const QRect& g = saved.geometry;
    return u"%1,%2,%3,%4%5"_s.arg(g.x())
        .arg(g.y())
        .arg(g.width())
        .arg(g.height())
        .arg(saved.maximized ? u",max"_s : QString());
}

std::optional<WindowPlacement::Saved> WindowPlacement::decode(const QString& text) {
    const QStringList parts = text.split(u',');
    if (parts.size() != 4 && !(parts.size() == 5 && parts[4] == u"max"))
        return std::nullopt;
    int numbers[4];
    for (int i = 0; i < 4; ++i) {
        bool ok = false;
        numbers[i] = parts[i].trimmed().toInt(&ok);
        if (!ok)
            return std::nullopt;
    }
    if (numbers[2] <= 0 || numbers[3] <= 0)
        return std::nullopt;
    return Saved{QRect(numbers[0], numbers[1], numbers[2], numbers[3]), parts.size() == 5};
}

void WindowPlacement::restore() {
    const QList<QRect> screens = availableScreens();
    const std::optional<Saved> saved = decode(m_store.text(windowKey).value_or(QString()));
    if (saved) {
        m_window.setGeometry(clamp(saved->geometry, screens));
        if (saved->maximized)
            m_window.setWindowState(m_window.windowState() | Qt::WindowMaximized);
    } else if (!screens.isEmpty()) {
        m_window.setGeometry(centred(defaultSize, screens.first()));
    } else {
        m_window.resize(defaultSize);
    }
    bool ok = false;
    const int width = m_store.text(sidebarKey).value_or(QString()).toInt(&ok);
    if (ok && width > 0)
        m_sidebarWidth = width;
}

void WindowPlacement::save() {
    const bool maximized = m_window.isMaximized();
    const QRect geometry = maximized ? m_window.normalGeometry() : m_window.geometry();
    if (geometry.isValid())
        m_store.setText(windowKey, encode(Saved{geometry, maximized}));
    if (m_splitter && m_splitter->isVisible() && !m_splitter->sizes().isEmpty() && m_splitter->sizes().first() > 0)
        m_store.setText(sidebarKey, QString::number(m_splitter->sizes().first()));
}

bool WindowPlacement::eventFilter(QObject* watched, QEvent* event) {
    if (watched == &m_window && (event->type() == QEvent::Close || event->type() == QEvent::Hide))
        save();
    // The splitter learns its width only when it is laid out, which for the main view may be long
    // after the start (after signing in): the saved sidebar width waits for that.
    if (watched == m_splitter && event->type() == QEvent::Resize)
        applySidebarWidth();
    return QObject::eventFilter(watched, event);
}
