#pragma once

#include <QList>
#include <QObject>
#include <QRect>

#include <optional>

class KeyValueStore;
class QSplitter;
class QWidget;

// Where the window was: its size, its position and the sidebar's width, kept across starts in the
// local store. A saved position is brought back onto a screen that exists now.
class WindowPlacement final : public QObject {
    Q_OBJECT

public:
    struct Saved {
        QRect geometry;
        bool maximized = false;
        bool operator==(const Saved&) const = default;
    };

    static constexpr QSize defaultSize{1100, 720};
    static constexpr int defaultSidebarWidth = 265;

    // `window` is placed at once from what the store holds (centred on the primary screen the first
    // time) and saved whenever it is closed or hidden; `splitter`'s first pane is the sidebar.
    WindowPlacement(KeyValueStore& store, QWidget& window, QSplitter* splitter, QObject* parent = nullptr);

    void save();
    // The sidebar's splitter, when the main view is made after the window.
    void followSplitter(QSplitter* splitter);

    // `saved` moved and, when it has to be, shrunk so that it lies inside the screen it overlaps most,
    // or inside the primary screen when it overlaps none. `screens` are available areas; the first is
    // the primary one.
    static QRect clamp(const QRect& saved, const QList<QRect>& screens);
    static QRect centred(const QSize& size, const QRect& screen);

    static QString encode(const Saved& saved);
    static std::optional<Saved> decode(const QString& text);

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void restore();
    void applySidebarWidth();

    KeyValueStore& m_store;
    QWidget& m_window;
    QSplitter* m_splitter;
    std::optional<int> m_sidebarWidth; // applied once the splitter has its width
};
