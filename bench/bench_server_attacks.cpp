// Memory and connection counts of the vexo-server process while it is attacked over loopback:
// four 256 MB bodies at once, 200 connections that trickle their headers and 300 silent ones at
// the same time, and one 8 MB header. The server runs as its own process so that its resident
// memory is its own.
#include <QCoreApplication>
#include <QFile>
#include <QProcess>
#include <QRegularExpression>
#include <QTemporaryDir>

#include <arpa/inet.h>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>
#include <vector>

using namespace Qt::StringLiterals;
using Clock = std::chrono::steady_clock;

namespace {

quint16 g_port = 0;
qint64 g_pid = 0;

// VmRSS or VmHWM of the server, in MB.
double memory(const char* field) {
    QFile status(u"/proc/%1/status"_s.arg(g_pid));
    if (!status.open(QIODevice::ReadOnly))
        return -1;
    for (const QByteArray& line : status.readAll().split('\n')) {
        if (line.startsWith(field))
            return std::strtod(line.mid(qstrlen(field)).trimmed().split(' ').first().constData(), nullptr) / 1024.0;
    }
    return -1;
}

void resetPeak() {
    QFile clearRefs(u"/proc/%1/clear_refs"_s.arg(g_pid));
    if (clearRefs.open(QIODevice::WriteOnly))
        clearRefs.write("5");
}

int connectToServer() {
    const int fd = ::socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(g_port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (::connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0) {
        ::close(fd);
        return -1;
    }
    return fd;
}

bool sendAll(int fd, const char* data, size_t size) {
    while (size > 0) {
        const ssize_t sent = ::send(fd, data, size, MSG_NOSIGNAL);
        if (sent <= 0)
            return false;
        data += sent;
        size -= size_t(sent);
    }
    return true;
}

// The status of the answer, or 0 when the connection closed without one.
int readStatus(int fd, int timeoutMs) {
    timeval timeout{timeoutMs / 1000, (timeoutMs % 1000) * 1000};
    ::setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &timeout, sizeof timeout);
    char buffer[4096];
    const ssize_t got = ::recv(fd, buffer, sizeof buffer, 0);
    if (got < 12 || std::strncmp(buffer, "HTTP/1.", 7) != 0)
        return 0;
    return std::atoi(buffer + 9);
}

// True when the server has closed (or reset) the connection.
bool closedByServer(int fd) {
    pollfd entry{fd, POLLIN, 0};
    if (::poll(&entry, 1, 0) <= 0)
        return false;
    if (entry.revents & (POLLERR | POLLHUP))
        return true;
    // An answer (a 503 or a 408) may come before the end of the stream.
    char buffer[4096];
    for (;;) {
        const ssize_t got = ::recv(fd, buffer, sizeof buffer, MSG_DONTWAIT);
        if (got > 0)
            continue;
        return got == 0 || (errno != EAGAIN && errno != EWOULDBLOCK);
    }
}

void bigBodies() {
    constexpr qint64 bodySize = qint64(256) << 20;
    constexpr int senders = 4;
    resetPeak();
    const auto start = Clock::now();
    std::vector<int> statuses(senders);
    std::vector<qint64> sentBytes(senders);
    std::vector<std::thread> threads;
    for (int i = 0; i < senders; ++i) {
        threads.emplace_back([i, &statuses, &sentBytes] {
            const int fd = connectToServer();
            if (fd < 0)
                return;
            const QByteArray head = "POST /api/tasks HTTP/1.1\r\nHost: 127.0.0.1\r\nContent-Type: application/json\r\n"
                                    "Content-Length: " +
                                    QByteArray::number(bodySize) + "\r\n\r\n";
            const std::vector<char> chunk(1 << 20, 'x');
            if (sendAll(fd, head.constData(), size_t(head.size()))) {
                for (qint64 sent = 0; sent < bodySize; sent += qint64(chunk.size())) {
                    // Like curl, stop sending once the server has answered.
                    pollfd answered{fd, POLLIN, 0};
                    if (::poll(&answered, 1, 0) > 0 || !sendAll(fd, chunk.data(), chunk.size()))
                        break;
                    sentBytes[size_t(i)] = sent + qint64(chunk.size());
                }
            }
            statuses[size_t(i)] = readStatus(fd, 60'000);
            ::close(fd);
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    const double seconds = std::chrono::duration<double>(Clock::now() - start).count();
    const double peak = memory("VmHWM:");
    std::this_thread::sleep_for(std::chrono::seconds(3));
    std::printf("4 x 256 MB bodies, no sign-in: statuses");
    for (int status : statuses)
        std::printf(" %d", status);
    std::printf("; sent");
    for (qint64 sent : sentBytes)
        std::printf(" %lld MB", sent >> 20);
    std::printf(" in %.1f s\n  peak RSS %.0f MB, RSS 3 s later %.0f MB\n", seconds, peak, memory("VmRSS:"));
}

void slowAndSilent(int seconds) {
    resetPeak();
    struct Connection {
        int fd;
        bool trickles;
        double closedAfter; // seconds; negative while open
    };
    std::vector<Connection> connections;
    auto start = Clock::now();
    const auto elapsed = [&] { return std::chrono::duration<double>(Clock::now() - start).count(); };
    for (int i = 0; i < 500; ++i) {
        const int fd = connectToServer();
        if (fd < 0)
            continue;
        const bool trickles = i % 5 < 2; // 200 of the 500
        if (trickles)
            sendAll(fd, "GET /api/tasks?archived=false HTTP/1.1\r\n", 40);
        connections.push_back({fd, trickles, -1});
    }
    // Times count from the last connection: a full accept queue can make connecting itself slow.
    const double connecting = elapsed();
    start = Clock::now();
    int tick = 0;
    while (elapsed() < seconds) {
        std::this_thread::sleep_for(std::chrono::milliseconds(250));
        const bool sendNow = ++tick % 4 == 0;
        for (Connection& connection : connections) {
            if (connection.closedAfter >= 0)
                continue;
            bool closed = closedByServer(connection.fd);
            if (!closed && connection.trickles && sendNow) {
                const QByteArray line = "X-Slow-" + QByteArray::number(tick) + ": 1\r\n";
                closed = !sendAll(connection.fd, line.constData(), size_t(line.size()));
            }
            if (closed)
                connection.closedAfter = elapsed();
        }
    }
    const auto closedBy = [&](bool trickles, double limit) {
        int count = 0;
        for (const Connection& connection : connections) {
            if (connection.trickles == trickles && connection.closedAfter >= 0 && connection.closedAfter <= limit)
                ++count;
        }
        return count;
    };
    std::printf("200 trickling + 300 silent connections for %d s, connected in %.1f s (peak RSS %.0f MB)\n", seconds,
                connecting, memory("VmHWM:"));
    std::printf("  closed by the server    after 1 s   after 5 s   after 15 s   at %d s\n", seconds);
    std::printf("  trickling headers       %9d %11d %12d %8d\n", closedBy(true, 1), closedBy(true, 5),
                closedBy(true, 15), closedBy(true, seconds));
    std::printf("  silent                  %9d %11d %12d %8d\n", closedBy(false, 1), closedBy(false, 5),
                closedBy(false, 15), closedBy(false, seconds));
    for (const Connection& connection : connections)
        ::close(connection.fd);
}

void hugeHeader() {
    resetPeak();
    const int fd = connectToServer();
    QByteArray request = "GET /api/tasks?archived=false HTTP/1.1\r\nHost: 127.0.0.1\r\nX-Big: ";
    request += QByteArray(8 << 20, 'a');
    request += "\r\n\r\n";
    const bool sentWhole = sendAll(fd, request.constData(), size_t(request.size()));
    const int status = readStatus(fd, 30'000);
    ::close(fd);
    std::printf("8 MB header: status %d (%s), peak RSS %.0f MB\n", status,
                sentWhole ? "sent whole" : "cut off by the server", memory("VmHWM:"));
}

} // namespace

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    const int seconds = argc > 1 ? std::atoi(argv[1]) : 20;
    QTemporaryDir dir;
    QProcess server;
    server.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(u"QT_LOGGING_RULES"_s, u"vexo.access=false"_s);
    server.setProcessEnvironment(environment);
    // A second argument runs another build of the server, to compare.
    server.start(argc > 2 ? QString::fromLocal8Bit(argv[2]) : QStringLiteral(VEXO_SERVER_BINARY),
                 {u"serve"_s, u"--listen"_s, u"127.0.0.1:0"_s, u"--data"_s, dir.path()});
    static const QRegularExpression address(u"слушает http://127\\.0\\.0\\.1:(\\d+)"_s);
    QString output;
    while (g_port == 0 && server.waitForReadyRead(30'000)) {
        output += QString::fromUtf8(server.readAllStandardOutput());
        const auto match = address.match(output);
        if (match.hasMatch())
            g_port = quint16(match.captured(1).toUInt());
    }
    if (g_port == 0) {
        std::printf("vexo-server did not start\n");
        return 1;
    }
    g_pid = server.processId();
    std::printf("vexo-server idle: RSS %.0f MB\n", memory("VmRSS:"));
    std::fflush(stdout);
    bigBodies();
    std::fflush(stdout);
    slowAndSilent(seconds);
    std::fflush(stdout);
    hugeHeader();
    std::printf("after the attacks: RSS %.0f MB\n", memory("VmRSS:"));
    server.terminate();
    server.waitForFinished(10'000);
    return 0;
}
