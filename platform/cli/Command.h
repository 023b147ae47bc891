#pragma once
#include <QCommandLineParser>
#include <QList>
#include <QString>
#include <QStringList>
#include <functional>

/// The commands of tarnctl as one table: parsing, --help, the man page and the shell completions are made from it.
namespace tarn::cli {

/// Exit codes of the program.
namespace status {
constexpr int Ok = 0;
constexpr int Refused = 1;
constexpr int WrongUsage = 2;
constexpr int NoTransport = 3;
} // namespace status

/// Why a command ends early. Thrown by it; run() prints the text and returns the exit code.
struct Failure
{
    int exitCode;
    QString text;
};
inline Failure wrongUsage(const QString &reason)
{
    return {status::WrongUsage, reason};
}

struct Option
{
    QString name;
    QString description;
    QString valueName = {}; ///< empty: a switch
};

/// Of commands that can print their answer as JSON.
inline const Option Json{"json", "Prints the answer as JSON."};

struct Argument
{
    QString name;
    QString description;
    QString syntax = {};   ///< as in the usage line, e.g. "[JSON | @file | -]"; the name when empty
    bool optional = false; ///< optional arguments are last
};

/// The arguments of one command.
class Line final : public QCommandLineParser
{
public:
    /// A positional argument; empty when it was not given.
    QString at(int index) const { return positionalArguments().value(index); }
};

/// A command, or a group of those whose words begin with its own.
struct Command
{
    using Run = std::function<int(const Line &)>;

    Command(QString commandWords, QString phrase, QString text = {}, QList<Argument> positional = {},
            QList<Option> optional = {}, Run work = {})
        : words(std::move(commandWords))
        , summary(std::move(phrase))
        , description(std::move(text))
        , arguments(std::move(positional))
        , options(std::move(optional))
        , run(std::move(work))
    {
    }
    QString lastWord() const { return words.section(QLatin1Char(' '), -1); }
    QString descriptionText() const;
    /// The arguments as the usage line shows them, e.g. " FILE | -".
    QString argumentSyntax() const;

    QString words;       ///< with one space between them, e.g. "message push"; none for the program itself
    QString summary;     ///< one phrase, for the list of commands
    QString description; ///< empty: the summary says everything
    QList<Argument> arguments;
    QList<Option> options;
    Run run; ///< returns the exit code; null for a group
    /// Help on a positional argument, e.g. on one operation; an empty text means the usual help. May be null.
    QString (*helpOn)(const Line &) = nullptr;
};

/// Every command, in the order in which help lists them, then every group; a group is before the group around it.
const QList<Command> &allCommands();
/// The commands and groups one word below a group.
QList<Command> entriesOf(const Command &group);

/// Runs the command that the arguments name.
/// @param arguments without the program's name
/// @return the exit code
int run(const QStringList &arguments);

QList<Command> statusCommands();
QList<Command> callCommands();
QList<Command> cloudCommands();
QList<Command> messageCommands();
QList<Command> upgradeCommands();
QList<Command> noticeCommands();
QList<Command> documentCommands();

} // namespace tarn::cli
