#include "base/ServiceLease.h"
#include <QSemaphore>
#include <atomic>

namespace {
constexpr int MostLeases = 1 << 20;
QSemaphore unused(MostLeases); // each granted lease holds one
std::atomic<bool> granting{true};

bool take()
{
    unused.acquire();
    if (granting) // asked after acquire(): close() and waitForAll() miss no lease
        return true;
    unused.release();
    return false;
}
} // namespace

namespace tarn::visualized {

ServiceLease::ServiceLease()
    : m_granted(take())
{
}

ServiceLease::ServiceLease(const ServiceLease &other)
    : m_granted(other.m_granted)
{
    if (m_granted)
        unused.acquire();
}

ServiceLease::~ServiceLease()
{
    if (m_granted)
        unused.release();
}

void ServiceLease::open()
{
    granting = true;
}

void ServiceLease::close()
{
    granting = false;
}

bool ServiceLease::waitForAll(int ms)
{
    const bool all = unused.tryAcquire(MostLeases, ms);
    if (all)
        unused.release(MostLeases);
    return all;
}

} // namespace tarn::visualized
