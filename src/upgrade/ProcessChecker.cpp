#include "upgrade/ProcessChecker.h"

CProcessChecker::~CProcessChecker()
{
    stop();
    wait();
}

void CProcessChecker::run()
{
    while (!m_stop) {
        for (int i = 0; i < 10 && !m_stop; ++i)
            msleep(20);
        const QString name = getProcessName();
        if (!m_stop && !processIsExit(name))
            emit processNoFind(name);
    }
}
