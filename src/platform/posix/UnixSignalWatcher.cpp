#include "UnixSignalWatcher.h"

#include <QSocketNotifier>

#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <unistd.h>

namespace {

// The self-pipe: a signal handler may only do async-signal-safe work, so it writes the signal
// number into a pipe that the event loop watches.
int pipeFds[2] = {-1, -1};

extern "C" void writeToPipe(int signalNumber)
{
    const int savedErrno = errno;
    const unsigned char byte = static_cast<unsigned char>(signalNumber);
    [[maybe_unused]] const ssize_t written = ::write(pipeFds[1], &byte, 1);
    errno = savedErrno;
}

} // namespace

UnixSignalWatcher::UnixSignalWatcher(std::initializer_list<int> signalNumbers, QObject *parent)
    : QObject(parent)
{
    if (pipeFds[0] < 0 && ::pipe2(pipeFds, O_CLOEXEC | O_NONBLOCK) != 0)
        return;

    m_notifier = new QSocketNotifier(pipeFds[0], QSocketNotifier::Read, this);
    connect(m_notifier, &QSocketNotifier::activated, this, &UnixSignalWatcher::drain);

    struct sigaction action = {};
    action.sa_handler = writeToPipe;
    sigemptyset(&action.sa_mask);
    action.sa_flags = SA_RESTART;
    for (const int signalNumber : signalNumbers)
        ::sigaction(signalNumber, &action, nullptr);
}

UnixSignalWatcher::~UnixSignalWatcher() = default;

void UnixSignalWatcher::drain()
{
    unsigned char byte = 0;
    while (::read(pipeFds[0], &byte, 1) == 1)
        Q_EMIT signalled(byte);
}
