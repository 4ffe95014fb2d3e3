#include "Icons.h"

#include "Theme.h"

#include <QFile>
#include <QHash>
#include <QIconEngine>
#include <QPainter>
#include <QSvgRenderer>

using namespace Qt::StringLiterals;

namespace {

struct IconFile {
    const char* file;
    bool filled; // the ".fill" variants: the outline's closed shapes are filled with the tint
};

const QHash<QString, IconFile>& table() {
    static const QHash<QString, IconFile> icons{
        {u"archivebox"_s, {"archive", false}},
        {u"arrow.clockwise"_s, {"rotate-cw", false}},
        {u"arrow.forward.square"_s, {"square-arrow-right", false}},
        {u"arrow.right"_s, {"arrow-right", false}},
        {u"arrow.right.circle.fill"_s, {"circle-arrow-right", false}},
        {u"arrow.uturn.left"_s, {"undo-2", false}},
        {u"bolt.fill"_s, {"zap", true}},
        {u"book.open"_s, {"book-open", false}},
        {u"bubble.left.fill"_s, {"message-circle", true}},
        {u"calendar"_s, {"calendar", false}},
        {u"chart.bar"_s, {"chart-column", false}},
        {u"checklist"_s, {"list-checks", false}},
        {u"checkmark"_s, {"check", false}},
        {u"checkmark.circle"_s, {"circle-check", false}},
        {u"chevron.down"_s, {"chevron-down", false}},
        {u"chevron.left"_s, {"chevron-left", false}},
        {u"chevron.right"_s, {"chevron-right", false}},
        {u"circle.dotted"_s, {"circle-dashed", false}},
        {u"circle.fill"_s, {"circle", true}},
        {u"circle.lefthalf.filled"_s, {"contrast", false}},
        {u"clock"_s, {"clock", false}},
        {u"doc.on.doc"_s, {"copy", false}},
        {u"exclamationmark.clock"_s, {"clock-alert", false}},
        {u"exclamationmark.clock.fill"_s, {"clock-alert", false}},
        {u"exclamationmark.triangle"_s, {"triangle-alert", false}},
        {u"flag"_s, {"flag", false}},
        {u"flame"_s, {"flame", false}},
        {u"folder"_s, {"folder", false}},
        {u"gearshape"_s, {"settings", false}},
        {u"globe"_s, {"globe", false}},
        {u"key"_s, {"key-round", false}},
        {u"magnifyingglass"_s, {"search", false}},
        {u"paperplane"_s, {"send", false}},
        {u"paperplane.fill"_s, {"send", true}},
        {u"pencil"_s, {"pencil", false}},
        {u"person.2"_s, {"users", false}},
        {u"photo"_s, {"image", false}},
        {u"photo.on.rectangle.angled"_s, {"images", false}},
        {u"plus"_s, {"plus", false}},
        {u"plus.circle"_s, {"circle-plus", false}},
        {u"rectangle.portrait.and.arrow.right"_s, {"log-out", false}},
        {u"shield"_s, {"shield", false}},
        {u"square.grid.2x2"_s, {"layout-grid", false}},
        {u"square.stack.3d.up"_s, {"layers", false}},
        {u"text.alignleft"_s, {"text-align-start", false}},
        {u"trash"_s, {"trash-2", false}},
        {u"xmark"_s, {"x", false}},
    };
    return icons;
}

// The SVG with the tint written in: Qt's renderer has no notion of currentColor.
QByteArray tintedSvg(const QString& name, const QColor& tint) {
    const auto found = table().constFind(name);
    if (found == table().constEnd())
        return {};
    QFile file(u":/icons/"_s + QString::fromLatin1(found->file) + u".svg"_s);
    if (!file.open(QIODevice::ReadOnly))
        return {};
    QByteArray svg = file.readAll();
    const QByteArray colour = tint.name(QColor::HexRgb).toLatin1();
    if (found->filled)
        svg.replace("fill=\"none\"", "fill=\"" + colour + "\"");
    svg.replace("currentColor", colour);
    if (tint.alpha() < 255)
        svg.replace("<svg", "<svg opacity=\"" + QByteArray::number(tint.alphaF(), 'f', 3) + "\"");
    return svg;
}

class TintedIconEngine final : public QIconEngine {
public:
    TintedIconEngine(QString name, QColor tint)
        : m_name(std::move(name))
        , m_tint(tint) {}
    TintedIconEngine(QString name, const Theme& theme, Palette::Role role, std::optional<Palette::Role> checkedRole)
        : m_name(std::move(name))
        , m_theme(&theme)
        , m_role(role)
        , m_checkedRole(checkedRole) {}
    void paint(QPainter* painter, const QRect& rect, QIcon::Mode mode, QIcon::State state) override {
        QColor tint = m_tint;
        if (m_theme)
            tint = m_theme->palette().color(state == QIcon::On && m_checkedRole ? *m_checkedRole : m_role);
        if (mode == QIcon::Disabled)
            tint.setAlphaF(tint.alphaF() * 0.4);
        Icons::paint(*painter, rect, m_name, tint);
    }
    QPixmap pixmap(const QSize& size, QIcon::Mode mode, QIcon::State state) override {
        return scaledPixmap(size, mode, state, 1.0);
    }
    QPixmap scaledPixmap(const QSize& size, QIcon::Mode mode, QIcon::State state, qreal scale) override {
        QPixmap pixmap(size * scale);
        pixmap.setDevicePixelRatio(scale);
        pixmap.fill(Qt::transparent);
        QPainter painter(&pixmap);
        paint(&painter, QRect(QPoint(), size), mode, state);
        return pixmap;
    }
    QIconEngine* clone() const override { return new TintedIconEngine(*this); }

private:
    TintedIconEngine(const TintedIconEngine&) = default;

    QString m_name;
    QColor m_tint;
    const Theme* m_theme = nullptr;
    Palette::Role m_role = Palette::Role::textPrimary;
    std::optional<Palette::Role> m_checkedRole;
};

} // namespace

namespace Icons {

bool has(const QString& name) {
    return table().contains(name);
}

void paint(QPainter& painter, const QRectF& rect, const QString& name, const QColor& tint) {
    QSvgRenderer renderer(tintedSvg(name, tint));
    if (renderer.isValid())
        renderer.render(&painter, rect);
}

QPixmap pixmap(const QString& name, int size, const QColor& tint, qreal devicePixelRatio) {
    // Rendered icons are small and few; keyed by everything that changes the pixels.
    static QHash<QString, QPixmap> cache;
    const QString key = u"%1|%2|%3|%4"_s.arg(name).arg(size).arg(tint.name(QColor::HexArgb)).arg(devicePixelRatio);
    if (const auto found = cache.constFind(key); found != cache.constEnd())
        return *found;
    QPixmap pixmap(QSize(size, size) * devicePixelRatio);
    pixmap.setDevicePixelRatio(devicePixelRatio);
    pixmap.fill(Qt::transparent);
    QPainter painter(&pixmap);
    painter.setRenderHint(QPainter::Antialiasing);
    paint(painter, QRectF(0, 0, size, size), name, tint);
    painter.end();
    cache.insert(key, pixmap);
    return pixmap;
}

QIcon icon(const QString& name, const QColor& tint) {
    return QIcon(new TintedIconEngine(name, tint));
}

QIcon icon(const QString& name, const Theme& theme, Palette::Role role, std::optional<Palette::Role> checkedRole) {
    return QIcon(new TintedIconEngine(name, theme, role, checkedRole));
}

} // namespace Icons
