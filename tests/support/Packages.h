#pragma once
#include <QByteArray>
#include <QCryptographicHash>
#include <QDir>
#include <QFile>
#include <QProcess>
#include <QString>
#include <QTemporaryDir>

// Products, packages and catalogues made while a test runs.
namespace packages {

inline QByteArray readFile(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

inline bool writeFile(const QString &path, const QByteArray &content)
{
    QDir().mkpath(QFileInfo(path).path());
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(content) == content.size();
}

// A gzipped tar archive with these files, made by the system's tar.
inline QByteArray archive(const QList<QPair<QString, QByteArray>> &files)
{
    QTemporaryDir folder;
    for (const auto &file : files)
        writeFile(folder.filePath(QStringLiteral("content/") + file.first), file.second);
    QDir().mkpath(folder.filePath(QStringLiteral("content")));
    QProcess tar;
    tar.start(QStringLiteral("tar"),
              {QStringLiteral("-C"), folder.filePath(QStringLiteral("content")), QStringLiteral("-czf"),
               folder.filePath(QStringLiteral("p.tar.gz")), QStringLiteral(".")});
    tar.waitForFinished();
    return readFile(folder.filePath(QStringLiteral("p.tar.gz")));
}

inline QString sha256(const QByteArray &content)
{
    return QString::fromLatin1(QCryptographicHash::hash(content, QCryptographicHash::Sha256).toHex());
}

// An installed product in its folder below apps.
inline QString install(const QString &apps, const QString &name, const QString &version)
{
    const QString folder = apps + QLatin1Char('/') + name;
    writeFile(folder + QStringLiteral("/installation.ini"),
              QStringLiteral("[General]\nSoftwareName=%1\nVersion=%2\nSoftBytes=64\nExeName=bin/program\n"
                             "PatchVersion=1.0.1\n\n[Plugins]\nsize=1\n1\\Name=公式助手\n1\\Version=1.0\n")
                  .arg(name, version)
                  .toUtf8());
    writeFile(folder + QStringLiteral("/bin/program"), "old " + version.toUtf8());
    return folder;
}

} // namespace packages
