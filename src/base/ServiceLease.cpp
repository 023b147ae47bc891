#include "base/ServiceLease.h"
#include <QDeadlineTimer>
#include <QMutex>
#include <QMutexLocker>
#include <QWaitCondition>

namespace {
QMutex mutex;
QWaitCondition returned;
int leases = 0;
bool granting = true;

bool take(bool allowed)
{
    if (allowed)
        ++leases;
    return allowed;
}

void setGranting(bool on)
{
    const QMutexLocker locker(&mutex);
    granting = on;
}
} // namespace

namespace tarn::visualized {

ServiceLease::ServiceLease()
    : m_granted((QMutexLocker(&mutex), take(granting)))
{
}

ServiceLease::ServiceLease(const ServiceLease &other)
    : m_granted((QMutexLocker(&mutex), take(other.m_granted)))
{
}

ServiceLease::~ServiceLease()
{
    if (!m_granted)
        return;
    const QMutexLocker locker(&mutex);
    --leases;
    returned.wakeAll();
}

void ServiceLease::open()
{
    setGranting(true);
}

void ServiceLease::close()
{
    setGranting(false);
}

bool ServiceLease::waitForAll(int ms)
{
    const QDeadlineTimer deadline(ms);
    const QMutexLocker locker(&mutex);
    while (leases > 0) {
        if (!returned.wait(&mutex, deadline))
            return leases == 0;
    }
    return true;
}

} // namespace tarn::visualized
