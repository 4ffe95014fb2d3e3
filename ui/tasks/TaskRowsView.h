#pragma once

#include <QListView>

// The list of task rows. A stock list view lays out every row again, and repaints the whole of
// itself, when any one row's data changes; here a row that keeps its height is repainted alone, so a
// task changed elsewhere costs one row on screen, and the others are left as they were.
class TaskRowsView final : public QListView {
    Q_OBJECT

public:
    explicit TaskRowsView(QWidget* parent = nullptr);

protected:
    void dataChanged(const QModelIndex& topLeft, const QModelIndex& bottomRight,
                     const QList<int>& roles = QList<int>()) override;

private:
    int laidOutHeight(int row) const;
};
