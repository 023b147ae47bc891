#include "cli/Command.h"
#include "cli/MessageText.h"
#include <QFile>
#include <cstdio>

namespace tarn::cli {

namespace {

constexpr qint64 MaxInput = Q_INT64_C(64) * 1024 * 1024;
const QString HelpOption = QStringLiteral("help");

void write(FILE *stream, const QByteArray &text)
{
    std::fwrite(text.constData(), 1, static_cast<size_t>(text.size()), stream);
    std::fputc('\n', stream);
    std::fflush(stream);
}

} // namespace

void print(const QString &line)
{
    write(stdout, line.toUtf8());
}

void printRaw(const QByteArray &line)
{
    write(stdout, line);
}

void complain(const QString &line)
{
    write(stderr, "tarnctl: " + line.toUtf8());
}

CommandLine::CommandLine(const QStringList &words, const QString &description)
    : m_words(words)
{
    m_parser.setApplicationDescription(description);
    m_parser.addOption({{QStringLiteral("h"), HelpOption}, QStringLiteral("Shows this help.")});
}

void CommandLine::addOption(const QString &name, const QString &description, const QString &valueName)
{
    m_parser.addOption({name, description, valueName});
}

void CommandLine::addArgument(const QString &name, const QString &description, const QString &syntax)
{
    m_parser.addPositionalArgument(name, description);
    m_syntax += QLatin1Char(' ') + (syntax.isEmpty() ? name : syntax);
}

QString CommandLine::command() const
{
    return (QStringList{QStringLiteral("tarnctl")} + m_words).join(QLatin1Char(' '));
}

// Qt's usage line would name the program's path and not the command.
QByteArray CommandLine::help() const
{
    const QString text = m_parser.helpText().trimmed();
    return QStringLiteral("Usage: %1 [options]%2\n").arg(command(), m_syntax).toUtf8() +
           text.mid(text.indexOf(QLatin1Char('\n')) + 1).toUtf8();
}

std::optional<int> CommandLine::parse(const QStringList &arguments, int min, int max)
{
    const bool understood = m_parser.parse(QStringList{QStringLiteral("tarnctl")} + arguments);
    if (m_parser.isSet(HelpOption)) {
        printRaw(help());
        return status::Ok;
    }
    const int given = this->arguments().size();
    if (understood && given >= min && given <= max)
        return std::nullopt;
    const QString reason = !understood   ? m_parser.errorText()
                           : given > max ? QStringLiteral("too many arguments: \"%1\"").arg(this->arguments().at(max))
                                         : QStringLiteral("an argument is missing");
    complain(QStringLiteral("%1 (see \"%2 --help\")").arg(reason, command()));
    return status::WrongUsage;
}

int explainFailure(const rpc::CallResult &result, const QString &object)
{
    const QString reason = QString::fromStdString(result.error.message);
    switch (result.error.code) {
    case rpc::RpcError::NoHub:
    case rpc::RpcError::NotInitialized:
        complain(QStringLiteral("%1. Start \"visualized-host\", or \"ServiceHub quickboot\" "
                                "for the services alone.")
                     .arg(reason));
        return status::NoTransport;
    case rpc::RpcError::InvalidArgument:
        complain(QStringLiteral("this cannot be sent: %1").arg(reason));
        return status::WrongUsage;
    case rpc::RpcError::NotFound:
        if (!result.errorText.isEmpty()) {
            complain(QStringLiteral("%1 does not know this: %2").arg(object, result.errorText));
            return status::WrongUsage;
        }
        break;
    default:
        break;
    }
    const bool windows = object == visualizedService();
    complain(
        QStringLiteral("%1 cannot be reached: %2. Start \"%3\".")
            .arg(object, reason, windows ? QStringLiteral("visualized-host") : QStringLiteral("ServiceHub quickboot")));
    return status::NoTransport;
}

int judge(const rpc::CallResult &result, const QString &object)
{
    if (!result.arrived())
        return explainFailure(result, object);
    if (result.accepted)
        return status::Ok;
    complain(
        QStringLiteral("refused with code %1: %2").arg(QString::number(result.retCode), printable(result.errorText)));
    return status::Refused;
}

int runGroup(const QStringList &words, const QString &description, const QList<SubCommand> &commands,
             const QStringList &arguments)
{
    QString text = description + QStringLiteral("\n\nCommands:\n");
    QStringList names;
    for (const SubCommand &command : commands) {
        if (arguments.value(0) == command.name)
            return command.run(arguments.mid(1));
        names << command.name;
        text += QStringLiteral("  %1  %2\n").arg(command.name, -7).arg(command.summary);
    }
    const QString called = (QStringList{QStringLiteral("tarnctl")} + words).join(QLatin1Char(' '));
    CommandLine line(words, text + QStringLiteral("\n\"%1 COMMAND --help\" tells more.").arg(called));
    line.addArgument(QStringLiteral("COMMAND"), names.join(QStringLiteral(", ")));
    if (const auto done = line.parse(arguments, 1, 1000))
        return *done;
    complain(QStringLiteral("unknown command \"%1\" (see \"%2 --help\")").arg(line.arguments().value(0), called));
    return status::WrongUsage;
}

bool readArgument(const QString &argument, QByteArray *text, QString *error)
{
    QFile file;
    bool opened = false;
    if (argument == QLatin1String("-")) {
        opened = file.open(stdin, QIODevice::ReadOnly);
    } else if (argument.startsWith(QLatin1Char('@'))) {
        file.setFileName(argument.mid(1));
        opened = file.open(QIODevice::ReadOnly);
    } else {
        *text = argument.toUtf8();
        return true;
    }
    if (opened)
        *text = file.read(MaxInput + 1);
    if (!opened || file.error() != QFileDevice::NoError)
        *error = QStringLiteral("%1: %2").arg(argument.mid(1), file.errorString());
    else if (text->size() > MaxInput)
        *error = QStringLiteral("%1 is larger than %2 bytes").arg(argument).arg(MaxInput);
    return error->isEmpty();
}

} // namespace tarn::cli
