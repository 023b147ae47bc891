#include "upgrade/ProcessChecker.h"
#include <QMutexLocker>
#include <utility>

namespace {
constexpr int Sleeps = 10; // in a period: a stop takes effect after each
constexpr int SleepMs = 20;
} // namespace

CProcessChecker::CProcessChecker() = default;

CProcessChecker::~CProcessChecker()
{
    stop();
    wait();
}

void CProcessChecker::setProcessName(QString name)
{
    const QMutexLocker locker(&m_mutex);
    m_processName = std::move(name);
}

QString CProcessChecker::getProcessName()
{
    const QMutexLocker locker(&m_mutex);
    return m_processName;
}

bool CProcessChecker::processIsExit(QString)
{
    return true;
}

void CProcessChecker::stop()
{
    m_stop = true;
}

void CProcessChecker::run()
{
    while (sleepOnePeriod()) {
        const QString name = getProcessName();
        if (!processIsExit(name))
            emit processNoFind(name);
    }
}

// False after a stop.
bool CProcessChecker::sleepOnePeriod()
{
    for (int i = 0; i < Sleeps && !m_stop; ++i)
        msleep(SleepMs);
    return !m_stop;
}
