#include "rpc/Registry.h"
#include "tarn/keys/HubKeys.h"
#include <algorithm>

namespace tarn::rpc {

constexpr int MaxEntries = 4096;
constexpr int MaxName = 256;

static QString objection(const RegistryEntry &entry)
{
    const ObjectRef &object = entry.object;
    if (object.tag.isEmpty() || object.interfaceName.isEmpty() || object.endpoint.isEmpty() || object.epoch == 0)
        return QStringLiteral("an entry lacks its tag, interface, endpoint or epoch");
    if (object.tag.size() > MaxName || object.interfaceName.size() > MaxName || object.endpoint.size() > MaxName)
        return QStringLiteral("a name has more than %1 characters").arg(MaxName);
    if (object.tag == hub::HubInterface)
        return QStringLiteral("tag \"%1\" is the hub's own").arg(object.tag);
    return QString();
}

QString Registry::add(const QVector<RegistryEntry> &entries, const QString &endpoint, quint64 epoch, quint64 lease)
{
    const QMutexLocker lock(&m_mutex);
    for (const RegistryEntry &held : qAsConst(m_entries)) {
        // The epoch is no secret: it must not be enough to take a process's objects away.
        if (held.object.epoch == epoch && held.object.endpoint != endpoint)
            return QStringLiteral("the epoch belongs to another endpoint, of %1 (process %2)")
                .arg(held.program)
                .arg(held.pid);
    }
    for (const RegistryEntry &entry : entries) {
        QString reason = objection(entry);
        if (!reason.isEmpty())
            return reason;
        const auto holder = m_entries.constFind(entry.object.tag);
        if (holder != m_entries.constEnd() && holder->object.epoch != epoch)
            return QStringLiteral("tag \"%1\" is registered by %2 (process %3)")
                .arg(entry.object.tag, holder->program)
                .arg(holder->pid);
    }
    if (m_entries.size() + entries.size() > MaxEntries)
        return QStringLiteral("the registry is full");
    for (auto it = m_entries.begin(); it != m_entries.end();)
        it = it->object.epoch == epoch ? m_entries.erase(it) : std::next(it);
    for (RegistryEntry entry : entries) {
        entry.lease = lease;
        m_entries.insert(entry.object.tag, entry);
    }
    return QString();
}

void Registry::end(quint64 lease)
{
    const QMutexLocker lock(&m_mutex);
    for (auto it = m_entries.begin(); it != m_entries.end();)
        it = it->lease == lease ? m_entries.erase(it) : std::next(it);
}

bool Registry::find(const QString &tag, ObjectRef *to) const
{
    const QMutexLocker lock(&m_mutex);
    const auto it = m_entries.constFind(tag);
    if (it == m_entries.constEnd())
        return false;
    *to = it->object;
    return true;
}

QVector<RegistryEntry> Registry::list() const
{
    QVector<RegistryEntry> entries;
    {
        const QMutexLocker lock(&m_mutex);
        entries.reserve(m_entries.size());
        for (const RegistryEntry &entry : m_entries)
            entries.append(entry);
    }
    std::sort(entries.begin(), entries.end(), [](const auto &a, const auto &b) { return a.object.tag < b.object.tag; });
    return entries;
}

} // namespace tarn::rpc
