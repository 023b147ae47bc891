#pragma once
#include <QByteArray>
#include <QStringList>
#include <QVariantMap>

/// Writing to the terminal.
namespace tarn::cli {

/// One line on the standard output.
void print(const QString &line);
void print(const QByteArray &line); ///< UTF-8
/// One line on the standard error output, prefixed with the program's name.
void complain(const QString &line);

/// Text from outside without control characters, which could drive the terminal.
QString printable(const QString &text);

/// A value of a map as printable text.
QString printable(const QVariantMap &map, const QString &key);

/// Columns that keep straight with wide characters; cells longer than 60 columns are cut.
/// @param rows the first one is the heading
QString table(const QList<QStringList> &rows);

/// Asks a question on the terminal. @return false also when the standard input is no terminal
bool confirm(const QString &question);

/// The text of an argument: the argument itself, the content of a file ("@file") or the standard input ("-").
/// Throws Failure when it cannot be read.
QByteArray readArgument(const QString &argument);

/// Reads a password: twice and without echo from a terminal, otherwise one line of the standard input. Throws Failure.
QString readPassword();

/// Overwrites a secret before it is freed.
void wipe(QString *text);

} // namespace tarn::cli
