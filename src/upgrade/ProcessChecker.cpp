#include "upgrade/ProcessChecker.h"
#include <QMutexLocker>
#include <utility>

namespace {
constexpr int Sleeps = 10; // in a period: a stop takes effect after each
constexpr int SleepMs = 20;
} // namespace

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

void CProcessChecker::run()
{
    while (!m_stop) {
        for (int i = 0; i < Sleeps && !m_stop; ++i)
            msleep(SleepMs);
        const QString name = getProcessName();
        if (!m_stop && !processIsExit(name))
            emit processNoFind(name);
    }
}
