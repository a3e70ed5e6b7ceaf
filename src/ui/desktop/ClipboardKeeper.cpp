#include "ClipboardKeeper.h"

#include "QtClipboard.h"

#include <QClipboard>
#include <QDataStream>
#include <QFile>
#include <QFileInfo>
#include <QGuiApplication>

#include <optional>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

extern char **environ;

namespace {

constexpr char keeperArgument[] = "--keep-clipboard";
// The keeper finds its content and its status pipe here; everything above is closed.
constexpr int contentFd = 3;
constexpr int statusFd = 4;
constexpr int firstClosedFd = 5;

// Status messages: the intermediate process reports the keeper's pid, the keeper that it owns
// the clipboard. Both are shorter than PIPE_BUF, so neither is split or interleaved.
constexpr char pidTag = 'p';
constexpr char readyTag = 'r';
constexpr qsizetype pidMessageSize = 1 + qsizetype(sizeof(pid_t));

// Qt's start-up on a loaded machine, with room to spare; a keeper that is still not up by then is
// stopped rather than left to take the clipboard later, unexpectedly.
constexpr std::chrono::milliseconds startTimeout(10000);

// Takes the QMimeData that QtClipboard would put on the clipboard.
class RecordingClipboard : public QtClipboard
{
public:
    std::unique_ptr<QMimeData> content;

protected:
    void replaceContent(std::unique_ptr<QMimeData> newContent) override { content = std::move(newContent); }
};

class Fd
{
public:
    explicit Fd(int fd = -1)
        : m_fd(fd)
    {
    }
    Fd(const Fd &) = delete;
    Fd &operator=(const Fd &) = delete;
    ~Fd() { reset(); }

    int get() const { return m_fd; }
    bool valid() const { return m_fd >= 0; }
    void reset(int fd = -1)
    {
        if (m_fd >= 0)
            ::close(m_fd);
        m_fd = fd;
    }

private:
    int m_fd;
};

// A copy of `fd` numbered firstClosedFd or above, so that the child's dup2 onto 3 and 4 always
// makes a new descriptor (dup2 onto itself would keep close-on-exec).
bool moveHigh(Fd &fd)
{
    const int high = ::fcntl(fd.get(), F_DUPFD_CLOEXEC, firstClosedFd);
    if (high < 0)
        return false;
    fd.reset(high);
    return true;
}

QByteArray serialize(const QMimeData *content, const QByteArray &attachment)
{
    QByteArray bytes;
    QDataStream stream(&bytes, QIODevice::WriteOnly);
    stream.setVersion(QDataStream::Qt_6_4);
    const QStringList formats = content ? content->formats() : QStringList();
    stream << quint32(formats.size());
    for (const QString &format : formats)
        stream << format << content->data(format);
    stream << attachment;
    return bytes;
}

struct Handover
{
    std::unique_ptr<QMimeData> content; // null when only the attachment is kept
    QByteArray attachment;
};

std::optional<Handover> deserialize(const QByteArray &bytes)
{
    QDataStream stream(bytes);
    stream.setVersion(QDataStream::Qt_6_4);
    quint32 count = 0;
    stream >> count;
    Handover handover;
    if (count > 0)
        handover.content = std::make_unique<QMimeData>();
    for (quint32 i = 0; i < count && stream.status() == QDataStream::Ok; ++i) {
        QString format;
        QByteArray data;
        stream >> format >> data;
        handover.content->setData(format, data);
    }
    stream >> handover.attachment;
    if (stream.status() != QDataStream::Ok || !stream.atEnd() || (!handover.content && handover.attachment.isEmpty()))
        return std::nullopt;
    return handover;
}

bool writeAll(int fd, const QByteArray &bytes)
{
    qsizetype done = 0;
    while (done < bytes.size()) {
        const ssize_t written = ::write(fd, bytes.constData() + done, size_t(bytes.size() - done));
        if (written < 0 && errno == EINTR)
            continue;
        if (written <= 0)
            return false;
        done += written;
    }
    return true;
}

Error failure(const QString &detail)
{
    return Error{QStringLiteral("Couldn't keep the copy on the clipboard."), detail};
}

Error systemFailure(const char *call)
{
    return failure(QLatin1String(call) + QLatin1String(": ") + QString::fromLocal8Bit(std::strerror(errno)));
}

// The status messages until the keeper is ready, the pipe ends or the time is up.
struct KeeperStatus
{
    pid_t pid = -1;
    bool ready = false;
    bool timedOut = false;
};

KeeperStatus readStatus(int fd)
{
    using Clock = std::chrono::steady_clock;
    const Clock::time_point deadline = Clock::now() + startTimeout;
    KeeperStatus status;
    QByteArray received;
    while (!status.ready) {
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now());
        if (left.count() <= 0) {
            status.timedOut = true;
            break;
        }
        pollfd wait{fd, POLLIN, 0};
        const int polled = ::poll(&wait, 1, int(left.count()));
        if (polled < 0 && errno == EINTR)
            continue;
        if (polled < 0)
            break;
        char buffer[64];
        const ssize_t got = ::read(fd, buffer, sizeof buffer);
        if (got < 0 && errno == EINTR)
            continue;
        if (got <= 0)
            break;
        received.append(buffer, got);
        while (!received.isEmpty()) {
            if (received.front() == readyTag) {
                status.ready = true;
                received.remove(0, 1);
            } else if (received.front() == pidTag && received.size() >= pidMessageSize) {
                std::memcpy(&status.pid, received.constData() + 1, sizeof(pid_t));
                received.remove(0, pidMessageSize);
            } else if (received.front() == pidTag) {
                break; // the rest of the pid is on its way
            } else {
                return {}; // not our protocol
            }
        }
    }
    return status;
}

} // namespace

Result<qint64> ClipboardKeeper::keepInBackground(
    const std::function<void(Clipboard &)> &fill, const QByteArray &attachment)
{
    RecordingClipboard recorder;
    if (fill)
        fill(recorder);
    if (recorder.content && recorder.content->formats().isEmpty())
        recorder.content.reset();
    if (!recorder.content && attachment.isEmpty())
        return failure(QStringLiteral("nothing was put on the clipboard"));

    // The content travels in an anonymous memory file: it has no name anyone else could open or
    // that could be left behind, and unlike a pipe it never makes this process wait for the
    // keeper to read.
    Fd content(::memfd_create("qorvel-clipboard", MFD_CLOEXEC));
    if (!content.valid())
        return systemFailure("memfd_create");
    if (!writeAll(content.get(), serialize(recorder.content.get(), attachment))
        || ::lseek(content.get(), 0, SEEK_SET) != 0)
        return systemFailure("write");

    int pipeEnds[2];
    if (::pipe2(pipeEnds, O_CLOEXEC) != 0)
        return systemFailure("pipe2");
    Fd statusRead(pipeEnds[0]);
    Fd statusWrite(pipeEnds[1]);
    Fd devNull(::open("/dev/null", O_RDWR | O_CLOEXEC));
    if (!devNull.valid())
        return systemFailure("open /dev/null");
    if (!moveHigh(content) || !moveHigh(statusWrite) || !moveHigh(devNull))
        return systemFailure("fcntl");

    // Everything the children use is made here: between fork and exec a child of a process with
    // other threads may only make async-signal-safe calls (no allocation, no locks). The keeper
    // runs /proc/self/exe, this very executable even if an update has replaced the file since,
    // named by its path so that ps and pgrep show it as this program and not as "exe".
    char executable[] = "/proc/self/exe";
    QByteArray name = QFile::encodeName(QFileInfo(QString::fromLatin1(executable)).symLinkTarget());
    if (name.isEmpty())
        name = executable;
    char argument[sizeof keeperArgument];
    std::memcpy(argument, keeperArgument, sizeof keeperArgument);
    char contentArgument[] = {char('0' + contentFd), '\0'};
    char statusArgument[] = {char('0' + statusFd), '\0'};
    char *keeperArgv[] = {name.data(), argument, contentArgument, statusArgument, nullptr};
    rlimit files{};
    const int lastFd = ::getrlimit(RLIMIT_NOFILE, &files) == 0 && files.rlim_cur != RLIM_INFINITY
        ? int(std::min<rlim_t>(files.rlim_cur, 65536)) - 1
        : 1023;
    sigset_t noSignals;
    sigemptyset(&noSignals);

    // Forked twice so that the keeper is nobody's child here: it never becomes a zombie of a
    // caller that lives on, and the new session leaves it no controlling terminal to lose.
    const pid_t middle = ::fork();
    if (middle < 0)
        return systemFailure("fork");
    if (middle == 0) {
        if (::setsid() < 0)
            ::_exit(1);
        const pid_t keeper = ::fork();
        if (keeper != 0) {
            char message[pidMessageSize] = {pidTag};
            std::memcpy(message + 1, &keeper, sizeof keeper);
            if (keeper > 0 && ::write(statusWrite.get(), message, sizeof message) == ssize_t(sizeof message))
                ::_exit(0);
            ::_exit(1);
        }
        // Nothing of the caller's survives into the keeper: not its folder (which could then not
        // be unmounted), its streams (a pipe reader would wait for the keeper's end), its other
        // descriptors or its blocked signals.
        if (::chdir("/") != 0 || ::dup2(devNull.get(), 0) < 0 || ::dup2(devNull.get(), 1) < 0
            || ::dup2(devNull.get(), 2) < 0 || ::dup2(content.get(), contentFd) < 0
            || ::dup2(statusWrite.get(), statusFd) < 0)
            ::_exit(1);
        if (::close_range(firstClosedFd, ~0U, 0) != 0)
            for (int fd = firstClosedFd; fd <= lastFd; ++fd)
                ::close(fd);
        ::sigprocmask(SIG_SETMASK, &noSignals, nullptr);
        ::execve(executable, keeperArgv, environ);
        ::_exit(127);
    }

    statusWrite.reset();
    content.reset();
    devNull.reset();
    int middleStatus = 0;
    while (::waitpid(middle, &middleStatus, 0) < 0 && errno == EINTR) { }

    const KeeperStatus status = readStatus(statusRead.get());
    if (status.ready)
        return qint64(status.pid);
    // A keeper that ended has been reaped by now and its pid may be another process's.
    if (status.timedOut && status.pid > 0)
        ::kill(status.pid, SIGKILL);
    return failure(status.pid > 0 ? QStringLiteral("the keeper did not take the clipboard")
                                  : QStringLiteral("the keeper did not start"));
}

bool ClipboardKeeper::isKeeperInvocation(int argc, char **argv)
{
    return argc == 4 && std::strcmp(argv[1], keeperArgument) == 0;
}

int ClipboardKeeper::runKeeper(int argc, char **argv, const AttachmentHandler &handleAttachment)
{
    Q_UNUSED(argc);
    // Executed through /proc/self/exe, whose name the kernel took for the process's.
    ::prctl(PR_SET_NAME, QFile::encodeName(QFileInfo(QFile::decodeName(argv[0])).fileName()).left(15).constData());
    const int contentArgument = std::atoi(argv[2]);
    const int statusArgument = std::atoi(argv[3]);

    std::optional<Handover> handover;
    {
        QFile file;
        if (file.open(contentArgument, QIODevice::ReadOnly, QFileDevice::AutoCloseHandle))
            handover = deserialize(file.readAll());
    }
    if (!handover)
        return 1;

    int qtArgc = 1;
    char *qtArgv[] = {argv[0], nullptr};
    QGuiApplication app(qtArgc, qtArgv);
    // The keeper's work is done once nothing of it is left: the clipboard taken by another
    // program, and the attachment's own work finished.
    bool holdsClipboard = false;
    bool attachmentFinished = handover->attachment.isEmpty() || !handleAttachment;
    const auto quitWhenDone = [&holdsClipboard, &attachmentFinished] {
        if (!holdsClipboard && attachmentFinished)
            QCoreApplication::quit();
    };

    QClipboard *clipboard = QGuiApplication::clipboard();
    if (handover->content) {
        clipboard->setMimeData(handover->content.release(), QClipboard::Clipboard);
        if (!clipboard->ownsClipboard())
            return 1;
        holdsClipboard = true;
        // Qt reports a change when another program takes the clipboard.
        QObject::connect(
            clipboard, &QClipboard::changed, &app, [clipboard, &holdsClipboard, quitWhenDone](QClipboard::Mode mode) {
                if (mode == QClipboard::Clipboard && !clipboard->ownsClipboard()) {
                    holdsClipboard = false;
                    quitWhenDone();
                }
            });
    }

    const char ready = readyTag;
    const bool told = ::write(statusArgument, &ready, 1) == 1;
    ::close(statusArgument);
    if (!told)
        return 1;
    if (!attachmentFinished) {
        handleAttachment(handover->attachment, [&attachmentFinished, quitWhenDone] {
            attachmentFinished = true;
            // Later, never from inside the handler's own call stack.
            QMetaObject::invokeMethod(qApp, quitWhenDone, Qt::QueuedConnection);
        });
    }
    return app.exec();
}
