#pragma once
#include <QStringList>
#include <QVariantMap>

/// Software update records: one QVariantMap per product with something new, its keys in tarn/keys/UpgradeKeys.h. They
/// come from the upgrade service: any value may be missing or of another type, and a record that is not a map counts as
/// an empty one. All functions are reentrant.

/// @return the latest of the dates that are written "yyyy-MM-dd hh:mm:ss", in the same form; empty when none is
QString getLatestDate(const QStringList &dates);
/// Writes into every record of the list under "UPDATE_TIME" the latest release date of its sections, empty if none has one.
void GetNewestDateTime(QList<QVariant> &records);
/// @return true when b's "UPDATE_TIME" is earlier than a's; a record without a valid one is the earliest
bool compareByUpdateTime(const QVariant &a, const QVariant &b);
/// Computes "UPDATE_TIME" and sorts the newest first. Records of one time keep no particular order.
void SortByUpdateTime(QList<QVariant> &records);

namespace tarn::visualized::records {

/// @return the copy for the update notes that the user asks for in the prompt: the installed version is also in the
///         sections, where the notes look for it, and "visualized" is true. Everything else is unchanged.
QVariantMap notesCopy(QVariantMap record);
/// @return the installed version: of the given section if it has one, else the record's own, else that of the first
///         section that has one. A plug-in's version is never the product's.
QString installedVersion(const QVariantMap &record, const QString &firstSection = QString());
/// @return the record's values under these keys, without those that it lacks, and the further values
QVariantMap parts(const QVariantMap &record, const QStringList &keys, QVariantMap further = {});

} // namespace tarn::visualized::records
