#include "cli/PasswordInput.h"
#include <QByteArray>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <termios.h>
#include <unistd.h>

namespace tarn::cli {

namespace {

constexpr int MaxBytes = 65536;

volatile std::sig_atomic_t interruption = 0;

void onSignal(int number)
{
    interruption = number;
}

void wipe(QByteArray *bytes)
{
    if (!bytes->isEmpty())
        ::explicit_bzero(bytes->data(), static_cast<size_t>(bytes->size()));
    bytes->clear();
}

/// Turns the terminal's echo off; a signal that ends the program finds it on again.
class Silence
{
public:
    Silence()
    {
        m_isTerminal = ::tcgetattr(STDIN_FILENO, &m_before) == 0;
        if (!m_isTerminal)
            return;
        struct sigaction action = {};
        action.sa_handler = onSignal; // without SA_RESTART: reading ends
        for (int i = 0; i < Count; ++i)
            ::sigaction(Signals[i], &action, &m_actions[i]);
        termios silent = m_before;
        silent.c_lflag &= ~static_cast<tcflag_t>(ECHO);
        ::tcsetattr(STDIN_FILENO, TCSAFLUSH, &silent);
    }
    ~Silence()
    {
        if (!m_isTerminal)
            return;
        ::tcsetattr(STDIN_FILENO, TCSAFLUSH, &m_before);
        for (int i = 0; i < Count; ++i)
            ::sigaction(Signals[i], &m_actions[i], nullptr);
        if (interruption != 0)
            ::raise(interruption);
    }
    Silence(const Silence &) = delete;
    Silence &operator=(const Silence &) = delete;

    bool isTerminal() const { return m_isTerminal; }

private:
    static constexpr int Count = 3;
    static constexpr int Signals[Count] = {SIGINT, SIGTERM, SIGHUP};
    bool m_isTerminal = false;
    termios m_before = {};
    struct sigaction m_actions[Count] = {};
};

// Byte by byte, since what follows the line is not ours.
bool readLine(QByteArray *line, QString *error)
{
    line->reserve(MaxBytes); // never moved, so that one copy is overwritten
    char c = 0;
    ssize_t got = 0;
    while ((got = ::read(STDIN_FILENO, &c, 1)) == 1 && c != '\n') {
        if (line->size() >= MaxBytes) {
            *error = QStringLiteral("the password is longer than %1 bytes").arg(MaxBytes);
            return false;
        }
        line->append(c);
    }
    if (got < 0)
        *error = QStringLiteral("the password cannot be read: %1").arg(QString::fromLocal8Bit(std::strerror(errno)));
    else if (line->isEmpty())
        *error = QStringLiteral("a password is wanted, on a terminal or as a line of the standard input");
    return error->isEmpty();
}

bool prompt(const char *text, QByteArray *line, QString *error)
{
    const auto written = ::write(STDERR_FILENO, text, std::strlen(text));
    const bool done = written > 0 && readLine(line, error);
    return ::write(STDERR_FILENO, "\n", 1) == 1 && done; // the user's own was not echoed
}

} // namespace

bool readPassword(QString *password, QString *error)
{
    error->clear();
    QByteArray line;
    QByteArray again;
    bool read = false;
    {
        const Silence silence;
        if (silence.isTerminal())
            read = prompt("password: ", &line, error) && prompt("once more: ", &again, error);
        else if ((read = readLine(&line, error)) && line.endsWith('\r'))
            line.chop(1); // of a file with foreign line ends
        if (read && silence.isTerminal() && line != again)
            *error = QStringLiteral("the two are not alike");
    }
    *password = QString::fromUtf8(line);
    if (error->isEmpty() && password->toUtf8() != line)
        *error = QStringLiteral("the password is no UTF-8");
    if (!error->isEmpty())
        wipe(password);
    wipe(&line);
    wipe(&again);
    return read && error->isEmpty();
}

void wipe(QString *text)
{
    if (!text->isEmpty())
        ::explicit_bzero(text->data(), static_cast<size_t>(text->size()) * sizeof(QChar));
    text->clear();
}

} // namespace tarn::cli
