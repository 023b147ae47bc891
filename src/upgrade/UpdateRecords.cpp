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

// Invalid when none of them is a date.
QDateTime latestOf(const QStringList &dates)
{
    QDateTime latest;
    for (const QString &date : dates) {
        const QDateTime time = QDateTime::fromString(date, dateFormat());
        if (time.isValid() && (!latest.isValid() || latest < time))
            latest = time;
    }
    return latest;
}

// Milliseconds that order the records; one without a valid time is earlier than all.
qint64 rankOf(const QDateTime &time)
{
    return time.isValid() ? time.toMSecsSinceEpoch() : std::numeric_limits<qint64>::min();
}

qint64 updateRank(const QVariant &record)
{
    return rankOf(QDateTime::fromString(record.toMap().value(key::UpdateTime).toString(), dateFormat()));
}

QString textOf(const QDateTime &time)
{
    return time.isValid() ? time.toString(dateFormat()) : QString();
}

// Enters the time of its newest part in a record.
QDateTime enterUpdateTime(QVariant &entry)
{
    QVariantMap record = entry.toMap();
    const QDateTime latest = latestOf(releaseDates(record));
    record.insert(key::UpdateTime, textOf(latest));
    entry = record;
    return latest;
}

void fillInstalledVersion(QVariantMap &record, const QString &sectionKey)
{
    QVariantMap section = record.value(sectionKey).toMap();
    if (section.isEmpty())
        return; // a section made up here would appear as a tab
    section.insert(key::InstalledVersion, section.value(key::CurrentVersion));
    record.insert(sectionKey, section);
}

} // namespace

QString getLatestDate(const QStringList &dates)
{
    return textOf(latestOf(dates));
}

void GetNewestDateTime(QList<QVariant> &records)
{
    for (QVariant &entry : records)
        enterUpdateTime(entry);
}

bool compareByUpdateTime(const QVariant &a, const QVariant &b)
{
    return updateRank(b) < updateRank(a);
}

void SortByUpdateTime(QList<QVariant> &records)
{
    // GetNewestDateTime in the order of compareByUpdateTime, with every date parsed once instead of once per comparison.
    QVector<std::pair<qint64, QVariant>> ranked;
    ranked.reserve(records.size());
    for (QVariant &record : records) {
        const QDateTime time = enterUpdateTime(record);
        ranked.append({rankOf(time), record});
    }
    std::sort(ranked.begin(), ranked.end(), [](const auto &a, const auto &b) { return b.first < a.first; });
    std::transform(ranked.cbegin(), ranked.cend(), records.begin(), [](const auto &entry) { return entry.second; });
}

namespace records {

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

QString installedVersion(const QVariantMap &record)
{
    QVariantList candidates{record};
    for (const QString &section : {key::Software, key::Patch, key::OldPatch}) {
        candidates << record.value(section);
    }
    candidates << record.value(key::Plugins).toList();
    for (const QVariant &candidate : qAsConst(candidates)) {
        const QVariantMap section = candidate.toMap();
        for (const QString &name : {key::CurrentVersion, key::InstalledVersion}) {
            if (const QString version = section.value(name).toString(); !version.isEmpty())
                return version;
        }
    }
    return {};
}

} // namespace records
