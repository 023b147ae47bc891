#pragma once
#include <QCoreApplication>
#include <QFile>
#include <QProcess>
#include <unistd.h>

// A program of the test that runs until it is killed, at the latest by the destructor: "sleep" under another name.
class SampleProgram final : public QProcess
{
public:
    explicit SampleProgram(const QString &file, uid_t user = ::geteuid())
        : m_user(user)
    {
        QFile::copy(QStringLiteral("/bin/sleep"), file);
        start(file, {QStringLiteral("600")});
        waitForStarted();
    }
    bool isAlive()
    {
        QCoreApplication::processEvents();
        return state() == Running;
    }

protected:
    void setupChildProcess() override
    {
        if (m_user != ::geteuid() && ::setuid(m_user) != 0)
            ::_exit(1);
    }

private:
    const uid_t m_user;
};
