#include "upgrade/UpdateRecords.h"
#include "tarn/keys/UpgradeKeys.h"
#include <QDateTime>
#include <algorithm>

using namespace tarn::upgrade;

namespace {
const QString DateFormat = QStringLiteral("yyyy-MM-dd hh:mm:ss");

QString updateTime(const QVariant &record)
{
    return record.toMap().value(key::UpdateTime).toString();
}
} // namespace

QString getLatestDate(const QStringList &dates)
{
    QDateTime latest;
    for (const QString &date : dates) {
        const QDateTime time = QDateTime::fromString(date, DateFormat);
        if (time.isValid() && (!latest.isValid() || latest < time))
            latest = time;
    }
    return latest.toString(DateFormat); // empty for an invalid one
}

void GetNewestDateTime(QList<QVariant> &records)
{
    for (QVariant &entry : records) {
        QVariantMap record = entry.toMap();
        const QVariantList sections =
            QVariantList{record.value(key::Software), record.value(key::Patch)} + record.value(key::Plugins).toList();
        QStringList dates;
        for (const QVariant &section : sections)
            dates << section.toMap().value(key::ReleaseDate).toString();
        record.insert(key::UpdateTime, getLatestDate(dates));
        entry = record;
    }
}

bool compareByUpdateTime(const QVariant &a, const QVariant &b)
{
    const QDateTime time = QDateTime::fromString(updateTime(a), DateFormat);
    const QDateTime other = QDateTime::fromString(updateTime(b), DateFormat);
    return time.isValid() && (!other.isValid() || other < time);
}

void SortByUpdateTime(QList<QVariant> &records)
{
    GetNewestDateTime(records);
    // The order of compareByUpdateTime(), without parsing: the texts are empty or in one form now.
    std::sort(records.begin(), records.end(),
              [](const QVariant &a, const QVariant &b) { return updateTime(b) < updateTime(a); });
}

namespace tarn::visualized::records {

QVariantMap notesCopy(QVariantMap record)
{
    for (const QString &name : {key::Software, key::Patch}) {
        QVariantMap section = record.value(name).toMap();
        if (section.isEmpty())
            continue; // a section created here would get a tab
        section.insert(key::InstalledVersion, section.value(key::CurrentVersion));
        record.insert(name, section);
    }
    record.insert(key::Visualized, true);
    return record;
}

QString installedVersion(const QVariantMap &record, const QString &firstSection)
{
    const QVariantList candidates{record.value(firstSection), record, record.value(key::Software),
                                  record.value(key::Patch), record.value(key::OldPatch)};
    for (const QVariant &candidate : candidates) {
        for (const QString &name : {key::CurrentVersion, key::InstalledVersion}) {
            if (const QString version = candidate.toMap().value(name).toString(); !version.isEmpty())
                return version;
        }
    }
    return {};
}

QVariantMap parts(const QVariantMap &record, const QStringList &keys, QVariantMap further)
{
    for (const QString &name : keys) {
        if (record.contains(name))
            further.insert(name, record.value(name));
    }
    return further;
}

} // namespace tarn::visualized::records
