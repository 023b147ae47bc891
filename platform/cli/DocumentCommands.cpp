// "tarnctl document": the man page and the shell completions, written from the table of commands.
#include "cli/Command.h"
#include "cli/Output.h"
#include "tarn/binding/Operations.h"

namespace tarn::cli {

namespace {

// Text in the man page's language: a backslash, and a dot or quote at the start of a line, have a meaning there.
QString roff(QString text)
{
    text.replace(QLatin1Char('\\'), QStringLiteral("\\e")).replace(QLatin1Char('-'), QStringLiteral("\\-"));
    QStringList lines = text.split(QLatin1Char('\n'));
    for (QString &line : lines) {
        if (line.startsWith(QLatin1Char('.')) || line.startsWith(QLatin1Char('\'')))
            line.prepend(QStringLiteral("\\&"));
    }
    return lines.join(QStringLiteral("\n.br\n"));
}

QString entry(const QString &term, const QString &text)
{
    return QStringLiteral(".TP\n.B %1\n%2\n").arg(roff(term), roff(text));
}

QString commandSection(const Command &command)
{
    const QString head = command.words.join(QLatin1Char(' ')) + argumentSyntax(command);
    QString text = QStringLiteral(".SS %1\n%2\n").arg(roff(head), roff(command.description));
    for (const Argument &argument : command.arguments)
        text += entry(argument.name, argument.description);
    for (const Option &option : command.options)
        text += entry(QStringLiteral("--") + option.name +
                          (option.valueName.isEmpty() ? QString() : QStringLiteral(" <%1>").arg(option.valueName)),
                      option.description);
    return text;
}

QString manPage()
{
    QString text = QStringLiteral(".TH TARNCTL 1 \"\" \"tarn-visualized " TARN_VERSION "\"\n"
                                  ".SH NAME\ntarnctl \\- drives the platform from the command line\n"
                                  ".SH SYNOPSIS\n.B tarnctl\n.I COMMAND\n[options] [arguments]\n"
                                  ".SH DESCRIPTION\nCalls the visualized service and the background services of the "
                                  "calling user. Every command has \\-\\-help.\n.SH COMMANDS\n");
    for (const Command &command : allCommands())
        text += commandSection(command);
    return text + QStringLiteral(".SH EXIT STATUS\n") + entry(QStringLiteral("0"), QStringLiteral("accepted")) +
           entry(QStringLiteral("1"), QStringLiteral("refused")) +
           entry(QStringLiteral("2"), QStringLiteral("wrong usage")) +
           entry(QStringLiteral("3"), QStringLiteral("not reached")) +
           QStringLiteral(".SH SEE ALSO\n.BR visualized\\-host (1),\n.BR ServiceHub (1)");
}

QString choices(const Group &group)
{
    QStringList words;
    for (const Entry &entry : entriesOf(group.words))
        words << entry.word;
    return words.join(QLatin1Char(' ')) + QStringLiteral(" --help");
}

QString choices(const Command &command)
{
    QStringList words;
    for (const Option &option : command.options)
        words << QStringLiteral("--") + option.name;
    if (command.words == QStringList{QStringLiteral("call")}) {
        for (const binding::Operation &operation : binding::visualizedOperations())
            words << operation.name;
    }
    return (words << QStringLiteral("--help")).join(QLatin1Char(' '));
}

// Lines "words|choices": the table that the completion functions of all shells look up.
QStringList completionTable()
{
    QStringList lines{QStringLiteral("|%1 --version").arg(choices(Group()))};
    for (const Group &group : allGroups())
        lines << QStringLiteral("%1|%2").arg(group.words.join(QLatin1Char(' ')), choices(group));
    for (const Command &command : allCommands())
        lines << QStringLiteral("%1|%2").arg(command.words.join(QLatin1Char(' ')), choices(command));
    return lines;
}

QString bashCompletion()
{
    QString text = QStringLiteral("# bash completion for tarnctl, written by \"tarnctl document bash\"\n"
                                  "_tarnctl()\n{\n"
                                  "    local cur=${COMP_WORDS[COMP_CWORD]} words=\"\" i\n"
                                  "    for ((i = 1; i < COMP_CWORD; i++)); do\n"
                                  "        [[ ${COMP_WORDS[i]} == [a-z]* ]] || break\n"
                                  "        words+=\"${words:+ }${COMP_WORDS[i]}\"\n"
                                  "    done\n"
                                  "    local choices=\"\"\n"
                                  "    while [[ -z ${choices} ]]; do\n"
                                  "        case ${words} in\n");
    for (const QString &line : completionTable())
        text += QStringLiteral("            \"%1\") choices=\"%2\" ;;\n")
                    .arg(line.section(QLatin1Char('|'), 0, 0), line.section(QLatin1Char('|'), 1));
    return text + QStringLiteral("            *) words=${words% *} ;;\n"
                                 "        esac\n"
                                 "    done\n"
                                 "    mapfile -t COMPREPLY < <(compgen -W \"${choices}\" -- \"${cur}\")\n"
                                 "}\n"
                                 "complete -o default -F _tarnctl tarnctl");
}

QString zshCompletion()
{
    return QStringLiteral("#compdef tarnctl\n# zsh completion, written by \"tarnctl document zsh\"\n"
                          "autoload -U +X bashcompinit && bashcompinit\n") +
           bashCompletion();
}

QString fishCompletion()
{
    QString text = QStringLiteral("# fish completion for tarnctl, written by \"tarnctl document fish\"\n");
    for (const QString &line : completionTable()) {
        const QString words = line.section(QLatin1Char('|'), 0, 0);
        const QString condition = words.isEmpty()
                                      ? QStringLiteral("__fish_use_subcommand")
                                      : QStringLiteral("string match -q -- 'tarnctl %1*' (commandline -cp)").arg(words);
        text += QStringLiteral("complete -c tarnctl -n \"%1\" -a \"%2\"\n")
                    .arg(condition, line.section(QLatin1Char('|'), 1));
    }
    return text.trimmed();
}

QString document(const QString &kind)
{
    if (kind == QLatin1String("man"))
        return manPage();
    if (kind == QLatin1String("bash"))
        return bashCompletion();
    if (kind == QLatin1String("zsh"))
        return zshCompletion();
    return kind == QLatin1String("fish") ? fishCompletion() : QString();
}

int runDocument(const Line &line)
{
    const QString text = document(line.at(0));
    if (text.isEmpty())
        return wrongUsage(QStringLiteral("expected man, bash, zsh or fish, not \"%1\"").arg(line.at(0)));
    print(text);
    return status::Ok;
}

} // namespace

QList<Command> documentCommands()
{
    return {makeCommand("document", "prints the man page or a shell completion",
                        "Prints the man page or the completion of a shell, as the packages install them.",
                        {{"KIND", "man, bash, zsh or fish", {}, false}}, {}, runDocument)};
}

} // namespace tarn::cli
