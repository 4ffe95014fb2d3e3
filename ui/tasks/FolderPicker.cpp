#include "FolderPicker.h"

#include "AppState.h"
#include "ColorHex.h"
#include "Fonts.h"
#include "Icons.h"
#include "Style.h"
#include "TaskFiling.h"
#include "TaskSearch.h"

#include <QGuiApplication>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QScreen>
#include <QVBoxLayout>

using namespace Qt::StringLiterals;

namespace {

constexpr int folderIdRole = Qt::UserRole + 1;
const QString hereMark = u" (здесь)"_s;

} // namespace

FolderPicker::FolderPicker(AppState& state, const VexoTask& task, QWidget* parent)
    : QFrame(parent, Qt::Popup)
    , m_state(state)
    , m_task(task) {
    setObjectName(u"folderPicker"_s);
    setAttribute(Qt::WA_DeleteOnClose);
    setAccessibleName(u"Переместить в папку"_s);
    setFixedWidth(280);
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(10, 10, 10, 10);
    layout->setSpacing(8);
    auto* title = new QLabel(u"Переместить в папку"_s, this);
    title->setFont(uiFont(12, QFont::DemiBold));
    Style::setText(title, Palette::Role::textSecondary);
    layout->addWidget(title);
    m_filter = new QLineEdit(this);
    m_filter->setPlaceholderText(u"Папка…"_s);
    m_filter->setAccessibleName(u"Найти папку"_s);
    m_filter->setFont(uiFont(13));
    m_filter->installEventFilter(this);
    layout->addWidget(m_filter);
    m_list = new QListWidget(this);
    m_list->setFocusPolicy(Qt::NoFocus); // the keyboard stays in the field
    m_list->setFont(uiFont(13));
    m_list->setIconSize(QSize(15, 15));
    m_list->setTextElideMode(Qt::ElideRight);
    m_list->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    m_list->setSelectionMode(QAbstractItemView::SingleSelection);
    m_list->setAccessibleName(u"Папки"_s);
    m_list->setFixedHeight(220);
    layout->addWidget(m_list);
    m_none = new QLabel(u"Папок нет"_s, this);
    m_none->setFont(uiFont(12));
    Style::setText(m_none, Palette::Role::textTertiary);
    layout->addWidget(m_none);

    for (const Folder& folder : m_state.folders()) {
        const bool here = TaskFiling::changesNothing(m_state, m_task, folder.id);
        auto* item = new QListWidgetItem(Icons::icon(u"folder"_s, colorFromHex(folder.color)),
                                         here ? folder.name + hereMark : folder.name, m_list);
        item->setData(folderIdRole, folder.id);
        item->setToolTip(folder.name);
        if (here)
            item->setFlags(item->flags() & ~(Qt::ItemIsEnabled | Qt::ItemIsSelectable));
    }
    connect(m_filter, &QLineEdit::textChanged, this, &FolderPicker::refilter);
    connect(m_list, &QListWidget::itemClicked, this, [this](QListWidgetItem* item) { choose(m_list->row(item)); });
    refilter();
}

QStringList FolderPicker::shownFolders() const {
    QStringList names;
    for (int row = 0; row < m_list->count(); ++row) {
        if (!m_list->item(row)->isHidden())
            names << m_list->item(row)->text();
    }
    return names;
}

QString FolderPicker::currentFolder() const {
    const QListWidgetItem* item = m_list->currentItem();
    return item && !item->isHidden() && item->isSelected() ? item->text() : QString();
}

void FolderPicker::refilter() {
    const QString wanted = TaskSearch::fold(TaskSearch::normalizedQuery(m_filter->text()));
    int firstChoice = -1;
    int shown = 0;
    for (int row = 0; row < m_list->count(); ++row) {
        QListWidgetItem* item = m_list->item(row);
        const bool match = TaskSearch::fold(item->toolTip()).contains(wanted);
        item->setHidden(!match);
        shown += match ? 1 : 0;
        if (match && firstChoice < 0 && (item->flags() & Qt::ItemIsEnabled))
            firstChoice = row;
    }
    m_none->setVisible(shown == 0);
    m_list->setVisible(shown > 0);
    m_list->clearSelection();
    if (firstChoice >= 0)
        m_list->setCurrentRow(firstChoice, QItemSelectionModel::ClearAndSelect);
}

void FolderPicker::step(int direction) {
    int row = m_list->currentRow();
    for (int next = row + direction; next >= 0 && next < m_list->count(); next += direction) {
        const QListWidgetItem* item = m_list->item(next);
        if (!item->isHidden() && (item->flags() & Qt::ItemIsEnabled)) {
            m_list->setCurrentRow(next, QItemSelectionModel::ClearAndSelect);
            return;
        }
    }
}

void FolderPicker::choose(int row) {
    const QListWidgetItem* item = m_list->item(row);
    if (!item || item->isHidden() || !(item->flags() & Qt::ItemIsEnabled))
        return;
    TaskFiling::moveTask(m_state, m_task.id, item->data(folderIdRole).toLongLong());
    close();
}

bool FolderPicker::eventFilter(QObject* watched, QEvent* event) {
    if (watched == m_filter && event->type() == QEvent::KeyPress) {
        switch (static_cast<QKeyEvent*>(event)->key()) {
        case Qt::Key_Down:
            step(1);
            return true;
        case Qt::Key_Up:
            step(-1);
            return true;
        case Qt::Key_Return:
        case Qt::Key_Enter:
            if (m_list->currentItem() && m_list->currentItem()->isSelected())
                choose(m_list->currentRow());
            return true;
        default:
            break;
        }
    }
    return QFrame::eventFilter(watched, event);
}

void FolderPicker::popup(const QPoint& globalPoint) {
    adjustSize();
    QPoint at = globalPoint;
    if (const QScreen* screen = QGuiApplication::screenAt(globalPoint)) {
        const QRect room = screen->availableGeometry();
        at.setX(qBound(room.left(), at.x(), room.right() - width()));
        at.setY(qBound(room.top(), at.y(), room.bottom() - height()));
    }
    move(at);
    show();
    m_filter->setFocus(Qt::PopupFocusReason);
}
