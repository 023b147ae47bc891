#include "upgrade/UpdateRecords.h"
#include "tarn/keys/UpgradeKeys.h"
#include <QDateTime>
#include <QVector>
#include <algorithm>
#include <limits>
#include <utility>

using namespace tarn::upgrade;

namespace {

QString dateFormat()
{
    return QStringLiteral("yyyy-MM-dd hh:mm:ss");
}

void collectDate(const QVariantMap &section, QStringList &dates)
{
    const auto date = section.constFind(key::ReleaseDate);
    if (date != section.constEnd())
        dates << date->toString();
}

QStringList releaseDates(const QVariantMap &record)
{
    QStringList dates;
    collectDate(record.value(key::Software).toMap(), dates);
    collectDate(record.value(key::Patch).toMap(), dates);
    const QVariantList plugins = record.value(key::Plugins).toList();
    for (const QVariant &plugin : plugins)
        collectDate(plugin.toMap(), dates);
    return dates;
}

// Milliseconds; a record without a valid time is earlier than all others.
qint64 updateRank(const QVariant &record)
{
    const QDateTime time = QDateTime::fromString(record.toMap().value(key::UpdateTime).toString(), dateFormat());
    return time.isValid() ? time.toMSecsSinceEpoch() : std::numeric_limits<qint64>::min();
}

// The order of the list: the newest first.
bool isBefore(qint64 rank, qint64 other)
{
    return other < rank;
}

void fillInstalledVersion(QVariantMap &record, const QString &sectionKey)
{
    QVariantMap section = record.value(sectionKey).toMap();
    if (section.isEmpty())
        return; // a section created here would get a tab
    section.insert(key::InstalledVersion, section.value(key::CurrentVersion));
    record.insert(sectionKey, section);
}

} // namespace

QString getLatestDate(const QStringList &dates)
{
    QDateTime latest;
    for (const QString &date : dates) {
        const QDateTime time = QDateTime::fromString(date, dateFormat());
        if (time.isValid() && (!latest.isValid() || latest < time))
            latest = time;
    }
    return latest.isValid() ? latest.toString(dateFormat()) : QString();
}

void GetNewestDateTime(QList<QVariant> &records)
{
    for (QVariant &entry : records) {
        QVariantMap record = entry.toMap();
        record.insert(key::UpdateTime, getLatestDate(releaseDates(record)));
        entry = record;
    }
}

bool compareByUpdateTime(const QVariant &a, const QVariant &b)
{
    return isBefore(updateRank(a), updateRank(b));
}

void SortByUpdateTime(QList<QVariant> &records)
{
    GetNewestDateTime(records);
    QVector<std::pair<qint64, QVariant>> ranked; // parsing the times in every comparison would take most of the time
    ranked.reserve(records.size());
    for (const QVariant &record : qAsConst(records))
        ranked.append({updateRank(record), record});
    std::sort(ranked.begin(), ranked.end(), [](const auto &a, const auto &b) { return isBefore(a.first, b.first); });
    std::transform(ranked.cbegin(), ranked.cend(), records.begin(), [](const auto &entry) { return entry.second; });
}

namespace tarn::visualized::records {

const QString &assistantName()
{
    static const QString name = QStringLiteral("岚川软件助手");
    return name;
}

QVariantMap notesCopy(QVariantMap record)
{
    fillInstalledVersion(record, key::Software);
    fillInstalledVersion(record, key::Patch);
    record.insert(key::Visualized, true);
    return record;
}

QString installedVersion(const QVariantMap &record, const QString &firstSection)
{
    QVariantList candidates{record.value(firstSection), record};
    for (const QString &section : {key::Software, key::Patch, key::OldPatch})
        candidates << record.value(section);
    for (const QVariant &candidate : qAsConst(candidates)) {
        const QVariantMap section = candidate.toMap();
        for (const QString &name : {key::CurrentVersion, key::InstalledVersion}) {
            if (const QString version = section.value(name).toString(); !version.isEmpty())
                return version;
        }
    }
    return {};
}

QVariantMap parts(const QVariantMap &record, const QStringList &keys)
{
    QVariantMap result;
    for (const QString &name : keys) {
        if (record.contains(name))
            result.insert(name, record.value(name));
    }
    return result;
}

} // namespace tarn::visualized::records
