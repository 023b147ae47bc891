#pragma once
#include "tarn/rpc/Bag.h"
#include <QHash>
#include <QMutex>
#include <QVector>

namespace tarn::rpc {

/// A registered object and the process that serves it.
struct RegistryEntry
{
    ObjectRef object;
    qint64 pid = 0;
    QString program;
    quint64 lease = 0; ///< the stream that holds the entry
};

/// The registered objects of all processes. Thread-safe.
class Registry
{
public:
    /// Registers all entries of a process for a new lease, or none. Entries that an older lease of the process holds pass
    /// over to this one; those that it leaves out are removed.
    /// @return empty, or why not: an entry without a name, a tag that another process holds, or an epoch that belongs to
    ///         another endpoint
    QString add(const QVector<RegistryEntry> &entries, const QString &endpoint, quint64 epoch, quint64 lease);
    void end(quint64 lease); ///< removes what the lease still holds
    bool find(const QString &tag, ObjectRef *to) const;
    QVector<RegistryEntry> list() const; ///< by tag

private:
    mutable QMutex m_mutex;
    QHash<QString, RegistryEntry> m_entries;
};

} // namespace tarn::rpc
