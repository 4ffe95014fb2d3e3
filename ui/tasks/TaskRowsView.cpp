#include "TaskRowsView.h"

TaskRowsView::TaskRowsView(QWidget* parent)
    : QListView(parent) {}

int TaskRowsView::laidOutHeight(int row) const {
    // Where a row starts comes from the last layout, its size from its data now: the room it was
    // given is the distance to the next row, or to the end of the contents.
    const QModelIndex index = model()->index(row, 0, rootIndex());
    const int top = rectForIndex(index).top();
    const QModelIndex next = model()->index(row + 1, 0, rootIndex());
    const int end = next.isValid() ? rectForIndex(next).top() : contentsSize().height();
    return end - top;
}

void TaskRowsView::dataChanged(const QModelIndex& topLeft, const QModelIndex& bottomRight, const QList<int>& roles) {
    bool sameHeights = topLeft.isValid() && bottomRight.isValid() && topLeft.parent() == rootIndex() &&
                       viewMode() == ListMode && flow() == TopToBottom && !isWrapping();
    for (int row = topLeft.row(); sameHeights && row <= bottomRight.row(); ++row) {
        const QModelIndex index = model()->index(row, 0, rootIndex());
        sameHeights = laidOutHeight(row) == sizeHintForIndex(index).height() + spacing();
    }
    if (sameHeights)
        // The rows stay where they are: repainting them is all there is to do.
        QAbstractItemView::dataChanged(topLeft, bottomRight, roles);
    else
        QListView::dataChanged(topLeft, bottomRight, roles);
}
