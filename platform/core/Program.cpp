#include "tarn/core/Program.h"
#include <QCommandLineParser>
#include <QCoreApplication>
#include <QSemaphore>
#include <QSocketNotifier>
#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <poll.h>
#include <sys/resource.h>
#include <system_error>
#include <thread>
#include <unistd.h>
#include <utility>
#include <vector>

namespace tarn::core {
namespace {

constexpr int MaxLogBytes = 4096;
constexpr int NeededThreads = 24; // of this process: those of gRPC, of its calls and of Qt
const int EndingSignals[] = {SIGTERM, SIGINT, SIGHUP};
const char *const Levels[] = {"debug", "warning", "critical", "fatal", "info"}; // by QtMsgType

bool s_place = false;
int pipeEnds[2] = {-1, -1};
unsigned patience = 0;

/// "2026-01-31 13:05:07", formatted once a second, since each time reads the state of the zone's file.
const char *secondText(time_t second)
{
    static thread_local time_t last = 0;
    static thread_local char text[32] = "";
    if (second != last) {
        tm local = {};
        ::tzset(); // localtime_r alone never sees a changed zone
        ::localtime_r(&second, &local);
        std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", &local);
        last = second;
    }
    return text;
}

/// The bare name in a signature such as "void ns::Class::name(int) const", as "%{function}" prints it.
QByteArray bareName(const char *signature)
{
    QByteArray name(signature ? signature : "unknown");
    const int bracket = name.indexOf('(');
    if (bracket > 0 && !name.startsWith("operator"))
        name = name.left(bracket).split(' ').constLast();
    return name;
}

QByteArray shortened(const QString &message)
{
    QByteArray text = message.toUtf8();
    const int size = text.size();
    if (size <= MaxLogBytes)
        return text;
    int end = MaxLogBytes;
    while (end > 0 && (text.at(end) & 0xc0) == 0x80)
        --end; // not inside a character
    text.truncate(end);
    return text + "... (" + QByteArray::number(size) + " bytes)";
}

void raiseDescriptorLimit()
{
    rlimit limit = {};
    if (::getrlimit(RLIMIT_NOFILE, &limit) != 0 || limit.rlim_cur == limit.rlim_max)
        return;
    limit.rlim_cur = limit.rlim_max;
    ::setrlimit(RLIMIT_NOFILE, &limit);
}

// The two below run in signal context: only functions such as write(), poll(), alarm() and _exit() are allowed.
void onSignal(int)
{
    const int savedErrno = errno;
    if (patience > 0)
        ::alarm(std::exchange(patience, 0));
    const char byte = 0;
    const ssize_t written = ::write(pipeEnds[1], &byte, 1);
    static_cast<void>(written); // a full pipe already says enough
    errno = savedErrno;
}

void onAlarm(int)
{
    constexpr char Text[] = "the main thread hangs, the process ends at once\n";
    pollfd log = {STDERR_FILENO, POLLOUT, 0};
    // What hangs may be the reader of a full pipe.
    const bool canWrite = ::poll(&log, 1, 0) == 1;
    const ssize_t written = canWrite ? ::write(STDERR_FILENO, Text, sizeof Text - 1) : 0;
    static_cast<void>(written);
    ::_exit(1);
}

/// gRPC aborts with an assertion when it cannot start a thread.
void demandThreads()
{
    QSemaphore end;
    std::vector<std::thread> threads;
    QByteArray trouble;
    try {
        while (threads.size() < NeededThreads)
            threads.emplace_back([&end] { end.acquire(); });
    } catch (const std::system_error &e) {
        trouble = e.what();
    }
    end.release(NeededThreads);
    for (std::thread &thread : threads)
        thread.join();
    if (trouble.isEmpty())
        return;
    std::fprintf(stderr, "%s: %d threads are needed and only %d can be started (limit of the user's processes): %s\n",
                 program_invocation_short_name, NeededThreads, static_cast<int>(threads.size()), trouble.constData());
    std::exit(1);
}

void handle(int signalNumber, void (*handler)(int))
{
    struct sigaction action = {};
    action.sa_handler = handler;
    action.sa_flags = SA_RESTART;
    ::sigaction(signalNumber, &action, nullptr);
}

} // namespace

void occupyStandardDescriptors()
{
    int descriptor = -1;
    do
        descriptor = ::open("/dev/null", O_RDONLY);
    while (descriptor >= 0 && descriptor <= STDERR_FILENO);
    ::close(descriptor);
}

bool hasArgument(int argc, char **argv, const char *name)
{
    return std::any_of(argv + qMin(argc, 1), argv + argc,
                       [name](const char *each) { return std::strcmp(each, name) == 0; });
}

void prepareProgram(bool place, bool verbose)
{
    occupyStandardDescriptors();
    s_place = place;
    // Not SIG_IGN, which programs that this one starts would inherit.
    for (const int each : {SIGPIPE, SIGXFSZ})
        handle(each, [](int) {});
    raiseDescriptorLimit();
    demandThreads();
    if (!verbose) // the RPC core's lines have their own switch, RpcLog
        QLoggingCategory::setFilterRules(QStringLiteral("*.debug=false\ntarn.rpc.debug=true"));
    qInstallMessageHandler(&writeLog);
}

void readArguments(QCommandLineParser *parser, const QString &description, const QStringList &expected)
{
    QCoreApplication::setApplicationVersion(QStringLiteral(TARN_VERSION));
    parser->setApplicationDescription(description);
    parser->addHelpOption();
    parser->addVersionOption();
    parser->addOption({QStringLiteral("verbose"), QStringLiteral("Write debug lines too.")});
    const bool isUnderstood = parser->parse(QCoreApplication::arguments());
    const QStringList given = parser->positionalArguments();
    if (isUnderstood)
        parser->process(*QCoreApplication::instance()); // answers --help and --version
    if (isUnderstood && given == expected)
        return;
    QString mistake = parser->errorText();
    const auto [wrong, wanted] = std::mismatch(given.cbegin(), given.cend(), expected.cbegin(), expected.cend());
    if (isUnderstood)
        mistake = wrong == given.cend() ? QStringLiteral("the argument %1 is missing").arg(*wanted)
                                        : QStringLiteral("unexpected argument \"%1\"").arg(*wrong);
    const QString program = QCoreApplication::applicationName();
    std::fprintf(stderr, "%s\n", qUtf8Printable(QStringLiteral("%1: %2 (see \"%1 --help\")").arg(program, mistake)));
    std::exit(2);
}

void writeLog(QtMsgType type, const QMessageLogContext &context, const QString &message)
{
    static const bool ownForm = !qEnvironmentVariableIsSet("QT_MESSAGE_PATTERN");
    QByteArray line;
    if (ownForm) {
        timespec now = {};
        ::clock_gettime(CLOCK_REALTIME, &now);
        char head[64] = "";
        qsnprintf(head, sizeof head, "%s.%03d ", secondText(now.tv_sec), static_cast<int>(now.tv_nsec / 1000000));
        line = head;
        if (s_place)
            line += QByteArray(Levels[type]) + " [" + (context.file ? context.file : "unknown") + "] " +
                    bareName(context.function) + ": ";
        else
            line += QByteArray(program_invocation_short_name) + '[' + QByteArray::number(::getpid()) + "] " +
                    Levels[type] + ": ";
        line += shortened(message);
    } else {
        line = qFormatLogMessage(type, context, message).toUtf8();
    }
    line += '\n';
    const ssize_t written = ::write(STDERR_FILENO, line.constData(), static_cast<size_t>(line.size()));
    static_cast<void>(written); // there is no other place to complain
}

UnixSignals::UnixSignals(unsigned patienceSeconds)
{
    if (::pipe2(pipeEnds, O_CLOEXEC | O_NONBLOCK) != 0)
        return; // the default action still ends the process
    m_notifier = std::make_unique<QSocketNotifier>(pipeEnds[0], QSocketNotifier::Read);
    QObject::connect(m_notifier.get(), &QSocketNotifier::activated, m_notifier.get(), [] {
        char bytes[16];
        while (::read(pipeEnds[0], bytes, sizeof bytes) > 0) {
        }
        QCoreApplication::quit();
    });
    patience = patienceSeconds;
    if (patience > 0)
        handle(SIGALRM, &onAlarm);
    for (const int each : EndingSignals)
        handle(each, &onSignal);
}

UnixSignals::~UnixSignals()
{
    if (!m_notifier)
        return;
    for (const int each : EndingSignals)
        handle(each, SIG_DFL);
    m_notifier.reset();
    for (int &end : pipeEnds)
        ::close(std::exchange(end, -1));
}

} // namespace tarn::core
