#pragma once
#include <QCommandLineParser>
#include <QList>
#include <QString>
#include <QStringList>
#include <optional>

/// The commands of tarnctl as one table: parsing, --help, the man page and the shell completions are made from it.
namespace tarn::cli {

/// Exit codes of the program.
namespace status {
constexpr int Ok = 0;
constexpr int Refused = 1;
constexpr int WrongUsage = 2;
constexpr int NoTransport = 3;
} // namespace status

struct Option
{
    QString name;
    QString description;
    QString valueName; ///< empty: a switch
};

struct Argument
{
    QString name;
    QString description;
    QString syntax;        ///< as in the usage line, e.g. "[JSON | @file | -]"; the name when empty
    bool optional = false; ///< optional arguments are last
};

/// The parsed arguments of one command.
class Line
{
public:
    explicit Line(const QCommandLineParser &parser)
        : m_parser(parser)
    {
    }
    bool isSet(const QString &option) const { return m_parser.isSet(option); }
    QString value(const QString &option) const { return m_parser.value(option); }
    /// A positional argument; empty when it was not given.
    QString at(int index) const { return m_parser.positionalArguments().value(index); }

private:
    const QCommandLineParser &m_parser;
};

struct Command
{
    QStringList words; ///< e.g. {"message", "push"}
    QString summary;   ///< one phrase, for the list of commands
    QString description;
    QList<Argument> arguments;
    QList<Option> options;
    int (*run)(const Line &) = nullptr; ///< returns the exit code
    /// Help on a positional argument, e.g. on one operation; an empty text means the usual help. May be null.
    QString (*helpOn)(const Line &) = nullptr;
};

/// @param words of the command, with a space between them
Command makeCommand(const char *words, const char *summary, const char *description, const QList<Argument> &arguments,
                    const QList<Option> &options, int (*run)(const Line &));

/// Every command, in the order in which help lists them.
const QList<Command> &allCommands();

/// A word that has commands below it, e.g. {"cloud", "account"}, with one sentence about it.
struct Group
{
    QStringList words;
    QString summary;
};
const QList<Group> &allGroups();

/// A command or group below a group, as help and completions list it.
struct Entry
{
    QString word;
    QString summary;
};
/// @param group its words; none for the program itself
QList<Entry> entriesOf(const QStringList &group);

/// A command's arguments as the usage line shows them, e.g. " FILE | -".
QString argumentSyntax(const Command &command);

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
