#include "cli/Command.h"
#include "cli/Output.h"
#include <algorithm>
#include <cstdio>

namespace tarn::cli {

namespace {

const QString Program = QStringLiteral("tarnctl");
const QString Help = QStringLiteral("help");
const QString Version = QStringLiteral("version");

QString called(const Command &command)
{
    return (Program + QLatin1Char(' ') + command.words).trimmed();
}

QStringList wordsOf(const Command &command)
{
    return command.words.split(QLatin1Char(' '), Qt::SkipEmptyParts);
}

QString groupDescription(const Command &group)
{
    QString text = group.descriptionText() + QStringLiteral("\n\nCommands:\n");
    for (const Command &entry : entriesOf(group))
        text += QStringLiteral("  %1  %2\n").arg(entry.lastWord(), -10).arg(entry.summary);
    return text + QStringLiteral("\n\"%1 COMMAND --help\" tells more.").arg(called(group));
}

// Declares the options and arguments. @return the help
QString declare(Line *line, const Command &command)
{
    line->addOption({{QStringLiteral("h"), Help}, QStringLiteral("Shows this help.")});
    line->setApplicationDescription(command.run ? command.descriptionText() : groupDescription(command));
    for (const Option &option : command.options)
        line->addOption({option.name, option.description, option.valueName});
    for (const Argument &argument : command.arguments)
        line->addPositionalArgument(argument.name, argument.description);
    // Qt's usage line names the program's path and not the command.
    const QString text = line->helpText().trimmed();
    return QStringLiteral("Usage: %1 [options]%2\n")
               .arg(called(command), command.run ? command.argumentSyntax() : QStringLiteral(" COMMAND")) +
           text.mid(text.indexOf(QLatin1Char('\n')) + 1);
}

// The reason why the positional arguments are wrong; empty when they are right.
QString objection(const Command &command, const QStringList &given)
{
    if (!command.run)
        return given.isEmpty() ? QStringLiteral("the argument COMMAND is missing")
                               : QStringLiteral("unknown command \"%1\"").arg(given.first());
    if (given.size() > command.arguments.size())
        return QStringLiteral("too many arguments: \"%1\"").arg(given.at(command.arguments.size()));
    if (given.size() < command.arguments.size() && !command.arguments.at(given.size()).optional)
        return QStringLiteral("the argument %1 is missing").arg(command.arguments.at(given.size()).name);
    return {};
}

int runEntry(const Command &command, const QStringList &arguments)
{
    Line line;
    const QString help = declare(&line, command);
    const bool understood = line.parse(QStringList{Program} + arguments);
    if (line.isSet(Help)) {
        const QString special = command.helpOn ? command.helpOn(line) : QString();
        print(special.isEmpty() ? help : special);
        return status::Ok;
    }
    if (command.words.isEmpty() && line.isSet(Version)) {
        print(QStringLiteral("tarnctl " TARN_VERSION));
        return status::Ok;
    }
    const QString reason = understood ? objection(command, line.positionalArguments()) : line.errorText();
    if (!reason.isEmpty())
        throw wrongUsage(QStringLiteral("%1 (see \"%2 --help\")").arg(reason, called(command)));
    return command.run(line);
}

} // namespace

QString Command::descriptionText() const
{
    return description.isEmpty() ? summary.at(0).toUpper() + summary.mid(1) + QLatin1Char('.') : description;
}

QString Command::argumentSyntax() const
{
    QString text;
    for (const Argument &argument : arguments)
        text += QLatin1Char(' ') + (argument.syntax.isEmpty() ? argument.name : argument.syntax);
    return text;
}

const QList<Command> &allCommands()
{
    static const QList<Command> table =
        statusCommands() + callCommands() + cloudCommands() + messageCommands() + upgradeCommands() + noticeCommands() +
        documentCommands() +
        QList<Command>{
            {"cloud account", "adds, removes, lists and locks accounts"},
            {"cloud", "manages accounts, shows one-time codes and the signed-in user"},
            {"message", "pushes, lists and imports messages"},
            {"upgrade", "looks for updates, shows notes, tasks and ignored updates"},
            {"notice", "reaches the pop-up notices by keyboard"},
            {"", "drives the platform from the command line", {}, {}, {{Version, "Shows the version."}}},
        };
    return table;
}

QList<Command> entriesOf(const Command &group)
{
    QList<Command> entries;
    for (const Command &each : allCommands()) {
        if (!each.words.isEmpty() && each.words.section(QLatin1Char(' '), 0, -2) == group.words)
            entries.append(each);
    }
    return entries;
}

int run(const QStringList &arguments)
{
    const auto isMeant = [&](const Command &each) { return arguments.mid(0, wordsOf(each).size()) == wordsOf(each); };
    const Command &command = *std::find_if(allCommands().cbegin(), allCommands().cend(), isMeant);
    try {
        const int code = runEntry(command, arguments.mid(wordsOf(command).size()));
        if (code == status::Ok && std::ferror(stdout) != 0)
            throw Failure{status::Refused, QStringLiteral("the answer cannot be written to the standard output")};
        return code;
    } catch (const Failure &failure) {
        complain(failure.text);
        return failure.exitCode;
    }
}

} // namespace tarn::cli
