#pragma once
#include "tarn/Export.h"
#include <QLoggingCategory>
#include <memory>

class QCommandLineParser;
class QSocketNotifier;

/// The common start, end and log of the platform's programs.
namespace tarn::core {

/// Opens the null device, for reading, in place of standard descriptors that the starter has closed. Without it, the first
/// files and sockets get these numbers, and output and log are written into them. First in main().
TARN_CORE_EXPORT void occupyStandardDescriptors();

/// First in main(), before any thread starts: a closed pipe and a file at its size limit become errors of the call
/// instead of the process's end, the limit of open descriptors is raised to what the system allows, and the program
/// writes its log by writeLog(). A process that may start too few threads ends with one line that says so.
/// @param place whether lines name the library and the function; otherwise they name the program and its process
/// @param verbose whether debug lines are written; the environment's QT_LOGGING_RULES has the last word
TARN_CORE_EXPORT void prepareProgram(bool place, bool verbose);

/// Whether "--verbose" or "--help" and the like is among the arguments; for what must be known before readArguments().
TARN_CORE_EXPORT bool hasArgument(int argc, char **argv, const char *name);

/// Reads the command line of a program that takes no commands, after the application object was made: "--help" and
/// "--version" are answered and end the process, a mistake ends it with one line and the exit code 2.
/// @param parser with the program's own options; gets the common ones, "--verbose" among them
/// @param expected the positional arguments
TARN_CORE_EXPORT void readArguments(QCommandLineParser *parser, const QString &description,
                                    const QStringList &expected = {});

/// One line of a log on standard error: local time, level, place and text. A text of more than 4 KiB is cut, with its
/// length after it. QT_MESSAGE_PATTERN replaces the form. Any thread; follows a change of the time zone within a second.
TARN_CORE_EXPORT void writeLog(QtMsgType type, const QMessageLogContext &context, const QString &message);

/// Quits the application at SIGTERM, SIGINT and SIGHUP. One object per process, on the main thread. Handlers and not a
/// blocked mask, since programs that this one starts inherit a mask.
class TARN_CORE_EXPORT UnixSignals final
{
public:
    /// @param patienceSeconds a process that still runs that long after the first signal ends at once with exit code 1:
    ///        its main thread hangs in a library; 0 waits without a limit
    explicit UnixSignals(unsigned patienceSeconds = 0);
    ~UnixSignals();
    Q_DISABLE_COPY(UnixSignals)

private:
    std::unique_ptr<QSocketNotifier> m_notifier;
};

} // namespace tarn::core
