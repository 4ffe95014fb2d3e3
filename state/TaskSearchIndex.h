#pragma once

#include "VexoTask.h"

#include <QByteArray>
#include <QList>
#include <QObject>
#include <QThreadPool>

#include <functional>
#include <memory>

class TaskList;

// The search's texts of the loaded tasks (TaskSearch::taskText), row by row beside the loaded list.
// Kept only while a search is open: started when it opens, dropped when it closes. A few missing
// texts are made on the spot; many (a long list loaded, the search just opened) are made on a
// worker thread, and ready() tells when every row has its text again.
//
// The owner keeps it in step with the loaded list by calling the row functions from its own
// handlers of the list's signals, before it asks about those rows.
class TaskSearchIndex final : public QObject {
    Q_OBJECT

public:
    // A description's plain text, as the search reads it. Called on the worker thread too, so it
    // must not touch shared state.
    using PlainText = std::function<QString(const QString&)>;
    // Up to this many texts are made on the spot; the worker takes more.
    static constexpr qsizetype syncLimit = 2000;

    explicit TaskSearchIndex(const TaskList& source, QObject* parent = nullptr);
    ~TaskSearchIndex() override;

    void setPlainText(PlainText plainText);
    PlainText plainText() const { return m_plainText; }

    void start();
    void stop();
    bool isActive() const { return m_active; }
    // Every row has its text.
    bool isReady() const { return m_active && m_missing == 0; }
    bool isBuilding() const { return m_job != nullptr; }

    // Makes the missing texts of rows first..last: at once when they are few, else on the worker.
    // True when all of them are there now.
    bool ensure(int first, int last);
    bool ensureAll();

    bool hasText(int row) const { return row < m_texts.size() && !m_texts[row].isNull(); }
    QByteArray textAt(int row) const { return hasText(row) ? m_texts[row] : QByteArray(); }
    // Whether a row's text contains the encoded needle; the row must have its text.
    bool matches(int row, QByteArrayView needle) const;

    void rowsInserted(int first, int last);
    void rowsRemoved(int first, int last);
    void rowsChanged(int first, int last);
    void reset();

    // The text of one task as the search reads it.
    static QByteArray textOf(const VexoTask& task, const PlainText& plainText);

Q_SIGNALS:
    // A worker's build finished and every row has its text.
    void ready();

private:
    struct Job;
    void startJob();
    void finishJob(const std::shared_ptr<Job>& job);
    void forget(int first, int last);

    const TaskList& m_source;
    PlainText m_plainText;
    bool m_active = false;
    QList<QByteArray> m_texts; // a null array: not made yet
    qsizetype m_missing = 0;
    quint64 m_generation = 0; // counts changes of the list, so a worker's result can tell it is late
    std::shared_ptr<Job> m_job;
    QThreadPool m_pool;
};
