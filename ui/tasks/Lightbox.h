#pragma once

#include "Sheet.h"

#include <QPixmap>

class QLabel;
class QPushButton;
class Theme;

// The enlarged pictures of a task, over its whole window: one picture at a time with its name and
// place ("2 / 3"), a close control in the corner, the arrow keys stepping through the pictures, and a
// click anywhere outside the picture closing it, as Esc does.
class Lightbox final : public Sheet {
    Q_OBJECT

public:
    struct Picture {
        QString filename;
        QPixmap image; // null while it loads, or when it could not be had
    };

    Lightbox(const Theme& theme, QList<Picture> pictures, int index, QWidget* window);

    int index() const { return m_index; }
    int count() const { return int(m_pictures.size()); }
    void step(int delta);
    // A picture that arrived after the lightbox opened.
    void setImage(int index, const QPixmap& image);
    QPushButton* closeButton() const { return m_close; }
    QString caption() const;
    // Where the picture is drawn; a press outside it closes the lightbox.
    QRectF imageRect() const;

protected:
    void keyPressEvent(QKeyEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;

private:
    const Theme& m_theme;
    QList<Picture> m_pictures;
    int m_index;
    QPushButton* m_close;
};
