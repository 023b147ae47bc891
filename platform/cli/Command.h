#pragma once
#include "tarn/rpc/RpcProxy.h"
#include <QCommandLineParser>
#include <QStringList>
#include <optional>

/// What the commands of tarnctl share.
namespace tarn::cli {

/// Exit codes of the program.
namespace status {
constexpr int Ok = 0;
constexpr int Refused = 1;
constexpr int WrongUsage = 2;
constexpr int NoTransport = 3;
} // namespace status

/// One line on the standard output or, prefixed with the program's name, on the standard error output.
void print(const QString &line);
void printRaw(const QByteArray &line);
void complain(const QString &line);

/// The command line below one command. Options and positional arguments are added before parse().
class CommandLine
{
public:
    /// @param words the command's own words, e.g. {"message", "push"}
    CommandLine(const QStringList &words, const QString &description);

    void addOption(const QString &name, const QString &description, const QString &valueName = {});
    /// @param syntax as in the usage line, e.g. "[JSON | @file | -]"
    void addArgument(const QString &name, const QString &description, const QString &syntax = {});

    /// @param arguments what follows the command's words
    /// @param min, max how many positional arguments are taken
    /// @return an exit code when the program is done: help was asked for, or the usage is wrong
    std::optional<int> parse(const QStringList &arguments, int min, int max);

    bool isSet(const QString &name) const { return m_parser.isSet(name); }
    QString value(const QString &name) const { return m_parser.value(name); }
    QStringList arguments() const { return m_parser.positionalArguments(); }

private:
    QString command() const; ///< with its words
    QByteArray help() const;

    const QStringList m_words;
    QString m_syntax; ///< of the positional arguments
    QCommandLineParser m_parser;
};

/// How messages name the services.
inline QString visualizedService()
{
    return QStringLiteral("the visualized service");
}
inline QString messageService()
{
    return QStringLiteral("the message service");
}
inline QString upgradeService()
{
    return QStringLiteral("the upgrade service");
}

inline QString cloudService()
{
    return QStringLiteral("the cloud account service");
}

/// Says on the standard error output what stands in the way of a call, and what to start.
/// @param object whom the call went to, one of the names above
/// @return the exit code
int explainFailure(const rpc::CallResult &result, const QString &object);

/// Prints why a call did not go well, nothing when it did. @param object as above
/// @return the exit code
int judge(const rpc::CallResult &result, const QString &object);

/// One of the commands below a command.
struct SubCommand
{
    QString name;
    QString summary;
    int (*run)(const QStringList &arguments);
};

/// Runs the command that the first argument names; tells about all of them where help is asked for or usage is wrong.
/// @param words the group's own words, e.g. {"cloud", "account"}
int runGroup(const QStringList &words, const QString &description, const QList<SubCommand> &commands,
             const QStringList &arguments);

/// The text that an argument stands for: itself, "@file" a file's content, "-" the standard input.
/// @return false with error when it cannot be read
bool readArgument(const QString &argument, QByteArray *text, QString *error);

int runCall(const QStringList &arguments);
int runCloud(const QStringList &arguments);
int runMessage(const QStringList &arguments);
int runStatus(const QStringList &arguments);
int runUpgrade(const QStringList &arguments);

} // namespace tarn::cli
