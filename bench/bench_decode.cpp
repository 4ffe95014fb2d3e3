// Decoding a task list from bytes to records, next to Node's JSON.parse on the same bytes.
#include "Envelopes.h"
#include "JsonValue.h"
#include "TaskListGenerator.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QJsonDocument>
#include <QProcess>
#include <QStandardPaths>
#include <QTemporaryDir>

#include <cstdio>
#include <cstdlib>
#include <malloc.h>

using namespace Qt::StringLiterals;

namespace {

// Times `work` alone: the result it returns is destroyed after the clock stops, as a garbage-collected
// runtime would free it later too.
template <class F> double bestMilliseconds(int runs, F&& work) {
    double best = 1e300;
    for (int i = 0; i < runs; ++i) {
        QElapsedTimer timer;
        timer.start();
        auto result = work();
        best = std::min(best, double(timer.nsecsElapsed()) / 1e6);
        Q_UNUSED(result);
    }
    return best;
}

double nodeMilliseconds(const QString& file, int runs) {
    const QString node = QStandardPaths::findExecutable(u"node"_s);
    if (node.isEmpty())
        return -1;
    const QString script = uR"(const fs = require('fs');
const text = fs.readFileSync(process.argv[1], 'utf8');
let best = Infinity, keep = 0;
for (let i = 0; i < %1; i++) {
  const t0 = process.hrtime.bigint();
  const value = JSON.parse(text);
  const t1 = process.hrtime.bigint();
  keep += value.tasks.length;
  best = Math.min(best, Number(t1 - t0) / 1e6);
}
console.log(best.toFixed(3));)"_s.arg(runs);
    QProcess process;
    process.start(node, {u"-e"_s, script, file});
    process.waitForFinished(600'000);
    return std::strtod(process.readAllStandardOutput().trimmed().constData(), nullptr);
}

} // namespace

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    // Keep freed memory in the process between runs, as V8 keeps its heap: otherwise every run pays
    // the kernel for zeroing fresh pages again and the figure measures the allocator, not decoding.
    mallopt(M_TRIM_THRESHOLD, 1 << 30);
    mallopt(M_MMAP_THRESHOLD, 1 << 30);
    QTemporaryDir dir;
    std::printf("%-8s %9s | %-22s | %-22s | %-22s\n", "tasks", "MB", "records (simdjson)", "QJsonDocument parse",
                "node JSON.parse");
    for (const int count : {1'000, 10'000, 100'000}) {
        const QByteArray bytes = generateTasksResponse(count);
        const QString file = dir.filePath(u"tasks-%1.json"_s.arg(count));
        QFile out(file);
        if (!out.open(QIODevice::WriteOnly) || out.write(bytes) != bytes.size())
            return 1;
        out.close();

        const int runs = count >= 100'000 ? 5 : 20;
        const double megabytes = double(bytes.size()) / 1e6;
        const double ours = bestMilliseconds(runs, [&] { return decodeJson<TasksResponse>(bytes); });
        const double qt = bestMilliseconds(runs, [&] { return QJsonDocument::fromJson(bytes); });
        const double node = nodeMilliseconds(file, runs);
        if (decodeJson<TasksResponse>(bytes).tasks.size() != count)
            return 1;
        std::printf("%-8d %9.1f | %8.2f ms %7.0f MB/s | %8.2f ms %7.0f MB/s | %8.2f ms %7.0f MB/s\n", count, megabytes,
                    ours, megabytes / ours * 1e3, qt, megabytes / qt * 1e3, node, megabytes / node * 1e3);
    }
    return 0;
}
