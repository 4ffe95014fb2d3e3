#include "TaskSearchIndex.h"

#include "TaskList.h"
#include "TaskSearch.h"

#include <QHash>

#include <atomic>

struct TaskSearchIndex::Job {
    std::atomic_bool cancelled{false};
    quint64 generation = 0;
    QList<int> rows;
    QList<VexoTask> tasks; // the tasks of those rows when the job started
    QList<QByteArray> texts;
};

TaskSearchIndex::TaskSearchIndex(const TaskList& source, QObject* parent)
    : QObject(parent)
    , m_source(source)
    , m_plainText([](const QString& description) { return description; }) {
    m_pool.setMaxThreadCount(1);
}

TaskSearchIndex::~TaskSearchIndex() {
    if (m_job)
        m_job->cancelled = true;
    m_pool.waitForDone();
}

void TaskSearchIndex::setPlainText(PlainText plainText) {
    m_plainText = std::move(plainText);
    if (m_active) {
        stop();
        start();
    }
}

QByteArray TaskSearchIndex::textOf(const VexoTask& task, const PlainText& plainText) {
    const QString plain = task.description && !task.description->isEmpty() ? plainText(*task.description) : QString();
    return TaskSearch::taskText(task.title, plain);
}

void TaskSearchIndex::start() {
    if (m_active)
        return;
    m_active = true;
    ++m_generation;
    m_texts = QList<QByteArray>(m_source.rowCount());
    m_missing = m_texts.size();
    ensureAll();
}

void TaskSearchIndex::stop() {
    if (!m_active)
        return;
    m_active = false;
    ++m_generation;
    if (m_job) {
        m_job->cancelled = true;
        m_job.reset();
    }
    m_texts = QList<QByteArray>();
    m_missing = 0;
}

bool TaskSearchIndex::ensure(int first, int last) {
    if (!m_active)
        return false;
    qsizetype missing = 0;
    for (int row = first; row <= last; ++row)
        missing += m_texts[row].isNull() ? 1 : 0;
    if (missing == 0)
        return true;
    if (missing > syncLimit) {
        if (!m_job)
            startJob();
        return false;
    }
    const QList<VexoTask>& tasks = m_source.tasks();
    for (int row = first; row <= last; ++row) {
        if (m_texts[row].isNull()) {
            m_texts[row] = textOf(tasks[row], m_plainText);
            --m_missing;
        }
    }
    return true;
}

bool TaskSearchIndex::ensureAll() {
    return m_texts.isEmpty() ? m_active : ensure(0, int(m_texts.size()) - 1);
}

bool TaskSearchIndex::matches(int row, QByteArrayView needle) const {
    return TaskSearch::contains(m_texts[row], needle);
}

void TaskSearchIndex::startJob() {
    auto job = std::make_shared<Job>();
    job->generation = m_generation;
    const QList<VexoTask>& tasks = m_source.tasks();
    job->rows.reserve(m_missing);
    job->tasks.reserve(m_missing);
    for (int row = 0; row < m_texts.size(); ++row) {
        if (m_texts[row].isNull()) {
            job->rows.append(row);
            job->tasks.append(tasks[row]); // shares the strings: nothing is copied
        }
    }
    m_job = job;
    m_pool.start([this, job, plainText = m_plainText] {
        job->texts.reserve(job->tasks.size());
        for (const VexoTask& task : std::as_const(job->tasks)) {
            if (job->cancelled)
                return;
            job->texts.append(textOf(task, plainText));
        }
        // Back on the owner's thread; the destructor waits for this worker, and an event still
        // queued for a deleted index is dropped with it.
        QMetaObject::invokeMethod(
            this, [this, job] { finishJob(job); }, Qt::QueuedConnection);
    });
}

void TaskSearchIndex::finishJob(const std::shared_ptr<Job>& job) {
    if (job != m_job)
        return;
    m_job.reset();
    const QList<VexoTask>& tasks = m_source.tasks();
    if (job->generation == m_generation) {
        for (qsizetype i = 0; i < job->rows.size(); ++i) {
            QByteArray& text = m_texts[job->rows[i]];
            if (text.isNull()) {
                text = job->texts[i];
                --m_missing;
            }
        }
    } else {
        // The list changed while the worker ran: a text still fits a row whose task has the same id,
        // title and description as the one it was made from.
        QHash<qint64, qsizetype> made;
        made.reserve(job->tasks.size());
        for (qsizetype i = 0; i < job->tasks.size(); ++i)
            made.insert(job->tasks[i].id, i);
        for (int row = 0; row < m_texts.size(); ++row) {
            if (!m_texts[row].isNull())
                continue;
            const auto found = made.constFind(tasks[row].id);
            if (found == made.cend())
                continue;
            const VexoTask& then = job->tasks[*found];
            if (then.title == tasks[row].title && then.description == tasks[row].description) {
                m_texts[row] = job->texts[*found];
                --m_missing;
            }
        }
    }
    if (m_missing > syncLimit) {
        startJob();
        return;
    }
    ensureAll();
    Q_EMIT ready();
}

void TaskSearchIndex::rowsInserted(int first, int last) {
    if (!m_active)
        return;
    ++m_generation;
    const int count = last - first + 1;
    m_texts.insert(first, count, QByteArray());
    m_missing += count;
}

void TaskSearchIndex::rowsRemoved(int first, int last) {
    if (!m_active)
        return;
    ++m_generation;
    for (int row = first; row <= last; ++row)
        m_missing -= m_texts[row].isNull() ? 1 : 0;
    m_texts.remove(first, last - first + 1);
}

void TaskSearchIndex::forget(int first, int last) {
    for (int row = first; row <= last; ++row) {
        if (!m_texts[row].isNull()) {
            m_texts[row] = QByteArray();
            ++m_missing;
        }
    }
}

void TaskSearchIndex::rowsChanged(int first, int last) {
    if (!m_active)
        return;
    ++m_generation;
    forget(first, last);
}

void TaskSearchIndex::reset() {
    if (!m_active)
        return;
    ++m_generation;
    m_texts = QList<QByteArray>(m_source.rowCount());
    m_missing = m_texts.size();
}
