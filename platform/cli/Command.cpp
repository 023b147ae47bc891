#include "cli/Command.h"
#include "cli/Output.h"
#include <algorithm>

namespace tarn::cli {

namespace {

const QString Program = QStringLiteral("tarnctl");
const QString Help = QStringLiteral("help");
const QString Version = QStringLiteral("version");

QString called(const QStringList &words)
{
    return (QStringList{Program} + words).join(QLatin1Char(' '));
}

bool startsWith(const QStringList &words, const QStringList &head)
{
    return words.mid(0, head.size()) == head;
}

const Group *findGroup(const QStringList &words)
{
    const auto &groups = allGroups();
    const auto it = std::find_if(groups.cbegin(), groups.cend(), [&](const Group &g) { return g.words == words; });
    return it == groups.cend() ? nullptr : &*it;
}

const Command *findCommand(const QStringList &arguments)
{
    for (const Command &command : allCommands()) {
        if (startsWith(arguments, command.words))
            return &command;
    }
    return nullptr;
}

// The longest group that the arguments begin with; the program itself is a group without words.
QStringList groupOf(const QStringList &arguments)
{
    QStringList words;
    while (words.size() < arguments.size() && findGroup(arguments.mid(0, words.size() + 1)))
        words.append(arguments.at(words.size()));
    return words;
}

QString groupDescription(const QStringList &words)
{
    const Group *group = findGroup(words);
    QString text = (group ? group->summary : QStringLiteral("drives the platform from the command line")) +
                   QStringLiteral(".\n\nCommands:\n");
    text[0] = text.at(0).toUpper();
    for (const Entry &entry : entriesOf(words))
        text += QStringLiteral("  %1  %2\n").arg(entry.word, -10).arg(entry.summary);
    return text + QStringLiteral("\n\"%1 COMMAND --help\" tells more.").arg(called(words));
}

void addHelp(QCommandLineParser *parser)
{
    parser->addOption({{QStringLiteral("h"), Help}, QStringLiteral("Shows this help.")});
}

// Qt's usage line names the program's path and not the command.
QString usage(const QCommandLineParser &parser, const QStringList &words, const QString &syntax)
{
    const QString text = parser.helpText().trimmed();
    return QStringLiteral("Usage: %1 [options]%2\n").arg(called(words), syntax) +
           text.mid(text.indexOf(QLatin1Char('\n')) + 1);
}

// Declares a command's options and arguments.
void prepare(QCommandLineParser *parser, const Command &command)
{
    addHelp(parser);
    parser->setApplicationDescription(command.description);
    for (const Option &option : command.options)
        parser->addOption({option.name, option.description, option.valueName});
    for (const Argument &argument : command.arguments)
        parser->addPositionalArgument(argument.name, argument.description);
}

QString groupUsage(const QStringList &words, QCommandLineParser *parser)
{
    addHelp(parser);
    if (words.isEmpty())
        parser->addOption({Version, QStringLiteral("Shows the version.")});
    parser->setApplicationDescription(groupDescription(words));
    return usage(*parser, words, QStringLiteral(" COMMAND"));
}

int wrongUsageOf(const QStringList &words, const QString &reason)
{
    return wrongUsage(QStringLiteral("%1 (see \"%2 --help\")").arg(reason, called(words)));
}

// The reason why the number of positional arguments is wrong; empty when it is right.
QString miscount(const Command &command, const QStringList &given)
{
    if (given.size() > command.arguments.size())
        return QStringLiteral("too many arguments: \"%1\"").arg(given.at(command.arguments.size()));
    if (given.size() < command.arguments.size() && !command.arguments.at(given.size()).optional)
        return QStringLiteral("the argument %1 is missing").arg(command.arguments.at(given.size()).name);
    return {};
}

int runCommand(const Command &command, const QStringList &arguments)
{
    QCommandLineParser parser;
    prepare(&parser, command);
    const bool understood = parser.parse(QStringList{Program} + arguments);
    const Line line(parser);
    if (parser.isSet(Help)) {
        const QString special = command.helpOn ? command.helpOn(line) : QString();
        print(special.isEmpty() ? usage(parser, command.words, argumentSyntax(command)) : special);
        return status::Ok;
    }
    const QString reason = understood ? miscount(command, parser.positionalArguments()) : parser.errorText();
    return reason.isEmpty() ? command.run(line) : wrongUsageOf(command.words, reason);
}

int runGroup(const QStringList &words, const QStringList &arguments)
{
    QCommandLineParser parser;
    const QString help = groupUsage(words, &parser);
    const bool understood = parser.parse(QStringList{Program} + arguments);
    if (parser.isSet(Help)) {
        print(help);
        return status::Ok;
    }
    if (words.isEmpty() && parser.isSet(Version)) {
        print(QStringLiteral("tarnctl " TARN_VERSION));
        return status::Ok;
    }
    if (!understood)
        return wrongUsageOf(words, parser.errorText());
    const QStringList given = parser.positionalArguments();
    return wrongUsageOf(words, given.isEmpty() ? QStringLiteral("the argument COMMAND is missing")
                                               : QStringLiteral("unknown command \"%1\"").arg(given.first()));
}

} // namespace

Command makeCommand(const char *words, const char *summary, const char *description, const QList<Argument> &arguments,
                    const QList<Option> &options, int (*run)(const Line &))
{
    return {QString::fromLatin1(words).split(QLatin1Char(' ')),
            QLatin1String(summary),
            QLatin1String(description),
            arguments,
            options,
            run};
}

const QList<Command> &allCommands()
{
    static const QList<Command> table = statusCommands() + callCommands() + cloudCommands() + messageCommands() +
                                        upgradeCommands() + noticeCommands() + documentCommands();
    return table;
}

const QList<Group> &allGroups()
{
    static const QList<Group> groups{
        {{"cloud"}, "manages accounts, shows one-time codes and the signed-in user"},
        {{"cloud", "account"}, "adds, removes, lists and locks accounts"},
        {{"message"}, "pushes, lists and imports messages"},
        {{"upgrade"}, "looks for updates, shows notes, tasks and ignored updates"},
        {{"notice"}, "reaches the pop-up notices by keyboard"},
    };
    return groups;
}

QList<Entry> entriesOf(const QStringList &group)
{
    QList<Entry> entries;
    const auto add = [&](const auto &below) {
        if (below.words.size() == group.size() + 1 && startsWith(below.words, group))
            entries.append({below.words.last(), below.summary});
    };
    std::for_each(allCommands().cbegin(), allCommands().cend(), add);
    std::for_each(allGroups().cbegin(), allGroups().cend(), add);
    return entries;
}

QString argumentSyntax(const Command &command)
{
    QString syntax;
    for (const Argument &argument : command.arguments)
        syntax += QLatin1Char(' ') + (argument.syntax.isEmpty() ? argument.name : argument.syntax);
    return syntax;
}

int run(const QStringList &arguments)
{
    if (const Command *command = findCommand(arguments))
        return runCommand(*command, arguments.mid(command->words.size()));
    const QStringList group = groupOf(arguments);
    return runGroup(group, arguments.mid(group.size()));
}

} // namespace tarn::cli
