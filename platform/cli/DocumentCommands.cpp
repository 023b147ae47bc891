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
    QString text = QStringLiteral(".SS %1\n%2\n")
                       .arg(roff(command.words + command.argumentSyntax()), roff(command.descriptionText()));
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
    QString text = QStringLiteral(R"(.TH TARNCTL 1 "" "tarn-visualized )" TARN_VERSION R"("
.SH NAME
tarnctl \- drives the platform from the command line
.SH SYNOPSIS
.B tarnctl
.I COMMAND
[options] [arguments]
.SH DESCRIPTION
Calls the visualized service and the background services of the calling user. Every command has \-\-help.
.SH COMMANDS
)");
    for (const Command &command : allCommands())
        text += command.run ? commandSection(command) : QString();
    return text + QStringLiteral(".SH EXIT STATUS\n") + entry("0", "accepted") +
           entry("1", "refused, or the answer cannot be written") + entry("2", "wrong usage") +
           entry("3", "not reached") + QStringLiteral(".SH SEE ALSO\n.BR visualized\\-host (1),\n.BR ServiceHub (1)");
}

// The words of each command and what can follow them: the table that the completion functions of all shells look up.
QList<QPair<QString, QString>> completionTable()
{
    QList<QPair<QString, QString>> lines;
    for (const Command &each : allCommands()) {
        QStringList choices;
        for (const Command &below : each.run ? QList<Command>() : entriesOf(each))
            choices << below.lastWord();
        for (const Option &option : each.options)
            choices << QStringLiteral("--") + option.name;
        if (each.words == QLatin1String("call")) {
            for (const binding::Operation &operation : binding::visualizedOperations())
                choices << operation.name;
        }
        choices << QStringLiteral("--help");
        lines.append({each.words, choices.join(QLatin1Char(' '))});
    }
    return lines;
}

QString bashCompletion()
{
    QString cases;
    for (const auto &[words, choices] : completionTable())
        cases += QStringLiteral("            \"%1\") choices=\"%2\" ;;\n").arg(words, choices);
    return QStringLiteral(R"(# bash completion for tarnctl, written by "tarnctl document bash"
_tarnctl()
{
    local cur=${COMP_WORDS[COMP_CWORD]} words="" i
    for ((i = 1; i < COMP_CWORD; i++)); do
        [[ ${COMP_WORDS[i]} == [a-z]* ]] || break
        words+="${words:+ }${COMP_WORDS[i]}"
    done
    local choices=""
    while [[ -z ${choices} ]]; do
        case ${words} in
%1            *" "*) words=${words% *} ;;
            *) words="" ;;
        esac
    done
    mapfile -t COMPREPLY < <(compgen -W "${choices}" -- "${cur}")
}
complete -o default -F _tarnctl tarnctl)")
        .arg(cases);
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
    for (const auto &[words, choices] : completionTable()) {
        const QString condition = words.isEmpty()
                                      ? QStringLiteral("__fish_use_subcommand")
                                      : QStringLiteral("string match -q -- 'tarnctl %1*' (commandline -cp)").arg(words);
        text += QStringLiteral("complete -c tarnctl -n \"%1\" -a \"%2\"\n").arg(condition, choices);
    }
    return text.trimmed();
}

int runDocument(const Line &line)
{
    static const QMap<QString, QString (*)()> writers{
        {"man", manPage}, {"bash", bashCompletion}, {"zsh", zshCompletion}, {"fish", fishCompletion}};
    const auto writer = writers.value(line.at(0));
    if (!writer)
        throw wrongUsage(QStringLiteral("expected man, bash, zsh or fish, not \"%1\"").arg(line.at(0)));
    print(writer());
    return status::Ok;
}

} // namespace

QList<Command> documentCommands()
{
    return {Command("document", "prints the man page or a shell completion",
                    "Prints the man page or the completion of a shell, as the packages install them.",
                    {{"KIND", "man, bash, zsh or fish"}}, {}, runDocument)};
}

} // namespace tarn::cli
