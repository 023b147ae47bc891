#include "host/UnixSignals.h"
#include <QSocketNotifier>
#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <unistd.h>

namespace {
int pipeEnds[2] = {-1, -1};

// Runs in signal context: nothing but write() is allowed.
void onSignal(int)
{
    const int savedErrno = errno;
    const char byte = 0;
    const ssize_t written = ::write(pipeEnds[1], &byte, 1);
    static_cast<void>(written); // a full pipe already says enough
    errno = savedErrno;
}

void handle(int signalNumber, void (*handler)(int))
{
    struct sigaction action = {};
    action.sa_handler = handler;
    action.sa_flags = SA_RESTART;
    ::sigaction(signalNumber, &action, nullptr);
}
} // namespace

UnixSignals::UnixSignals(QObject *parent)
    : QObject(parent)
{
    if (::pipe2(pipeEnds, O_CLOEXEC | O_NONBLOCK) != 0)
        return; // the default action still ends the process
    m_notifier = new QSocketNotifier(pipeEnds[0], QSocketNotifier::Read, this);
    connect(m_notifier, &QSocketNotifier::activated, this, &UnixSignals::onReadable);
    handle(SIGTERM, &onSignal);
    handle(SIGINT, &onSignal);
}

UnixSignals::~UnixSignals()
{
    if (!m_notifier)
        return;
    handle(SIGTERM, SIG_DFL);
    handle(SIGINT, SIG_DFL);
    delete m_notifier;
    for (int &end : pipeEnds)
        ::close(std::exchange(end, -1));
}

void UnixSignals::onReadable()
{
    char bytes[16];
    while (::read(pipeEnds[0], bytes, sizeof bytes) > 0) {
    }
    emit terminationRequested();
}
