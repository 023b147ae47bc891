#include "services/Catalogue.h"
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QUrl>
#include <QVersionNumber>
#include <algorithm>

namespace tarn::services {

namespace {

constexpr qint64 MaxCatalogue = 8 * 1024 * 1024; // bytes
constexpr int MaxName = 256;                     // characters

// Takes values out of a JSON object and remembers the first mistake with its place.
class Reader
{
public:
    explicit Reader(const QString &file)
        : m_directory(QFileInfo(file).absoluteDir())
    {
    }

    QString error() const { return m_error; }

    CatalogueProduct product(QJsonObject json, const QString &place)
    {
        CatalogueProduct product;
        product.name = name(json, QStringLiteral("name"), place);
        product.iconFile = path(json, QStringLiteral("icon"), place);
        if (json.contains(QStringLiteral("release")))
            product.release = item(object(json.take(QStringLiteral("release")), place + QStringLiteral("/release")),
                                   product.name, place + QStringLiteral("/release"));
        product.patches = items(json, QStringLiteral("patches"), product.name, place);
        product.plugins = items(json, QStringLiteral("plugins"), product.name, place);
        product.further = json.toVariantMap();
        return product;
    }

    QJsonArray array(QJsonObject &json, const QString &key, const QString &place)
    {
        const QJsonValue value = json.take(key);
        if (!value.isArray() && !value.isUndefined())
            fail(place + QLatin1Char('/') + key, QStringLiteral("an array is wanted"));
        return value.toArray();
    }

    QJsonObject object(const QJsonValue &value, const QString &place)
    {
        if (!value.isObject())
            fail(place, QStringLiteral("an object is wanted"));
        return value.toObject();
    }

private:
    void fail(const QString &place, const QString &reason)
    {
        if (m_error.isEmpty())
            m_error = QStringLiteral("%1: %2").arg(place, reason);
    }

    QString text(QJsonObject &json, const QString &key, const QString &place)
    {
        const QJsonValue value = json.take(key);
        if (!value.isString() && !value.isUndefined())
            fail(place + QLatin1Char('/') + key, QStringLiteral("a string is wanted"));
        return value.toString();
    }

    QString name(QJsonObject &json, const QString &key, const QString &place)
    {
        const QString value = text(json, key, place);
        if (value.isEmpty() || value.size() > MaxName)
            fail(place + QLatin1Char('/') + key, QStringLiteral("1 to %1 characters are wanted").arg(MaxName));
        return value;
    }

    QString path(QJsonObject &json, const QString &key, const QString &place)
    {
        const QString value = text(json, key, place);
        return value.isEmpty() ? value : QDir::cleanPath(m_directory.absoluteFilePath(value));
    }

    QList<CatalogueItem> items(QJsonObject &json, const QString &key, const QString &product, const QString &place)
    {
        QList<CatalogueItem> list;
        const QJsonArray values = array(json, key, place);
        for (const QJsonValue value : values) {
            const QString here = QStringLiteral("%1/%2/%3").arg(place, key, QString::number(list.size()));
            list << item(object(value, here), product, here);
        }
        return list;
    }

    CatalogueItem item(QJsonObject json, const QString &product, const QString &place)
    {
        CatalogueItem item;
        item.name = json.contains(QStringLiteral("name")) ? name(json, QStringLiteral("name"), place) : product;
        item.version = name(json, QStringLiteral("version"), place);
        item.date = text(json, QStringLiteral("date"), place);
        item.notesFile = path(json, QStringLiteral("notes"), place);
        item.forVersion = text(json, QStringLiteral("for"), place);
        item.forced = json.take(QStringLiteral("forced")).toBool();
        if (json.contains(QStringLiteral("package")))
            package(object(json.take(QStringLiteral("package")), place + QStringLiteral("/package")), &item,
                    place + QStringLiteral("/package"));
        item.further = json.toVariantMap();
        return item;
    }

    void package(QJsonObject json, CatalogueItem *item, const QString &place)
    {
        const QString url = text(json, QStringLiteral("url"), place);
        if (url.isEmpty())
            fail(place + QStringLiteral("/url"), QStringLiteral("an address is wanted"));
        item->url = QUrl::fromLocalFile(m_directory.absolutePath() + QLatin1Char('/')).resolved(QUrl(url)).toString();
        item->size = static_cast<qint64>(json.value(QStringLiteral("size")).toDouble(-1));
        if (item->size < 0)
            fail(place + QStringLiteral("/size"), QStringLiteral("a number of bytes is wanted"));
        item->sha256 = text(json, QStringLiteral("sha256"), place).toLower();
        if (item->sha256.size() != 64)
            fail(place + QStringLiteral("/sha256"), QStringLiteral("64 hexadecimal digits are wanted"));
    }

    const QDir m_directory;
    QString m_error;
};

QString readJson(const QString &file, QJsonDocument *document)
{
    const QFileInfo info(file);
    if (!info.isFile() || info.size() > MaxCatalogue)
        return QStringLiteral("%1 is no file of at most %2 bytes").arg(file, QString::number(MaxCatalogue));
    QFile in(file);
    if (!in.open(QIODevice::ReadOnly))
        return QStringLiteral("%1: %2").arg(file, in.errorString());
    QJsonParseError wrong = {};
    *document = QJsonDocument::fromJson(in.readAll(), &wrong);
    return wrong.error == QJsonParseError::NoError
               ? QString()
               : QStringLiteral("%1, byte %2: %3").arg(file, QString::number(wrong.offset), wrong.errorString());
}

} // namespace

const CatalogueItem *CatalogueProduct::patchFor(const QString &version) const
{
    const CatalogueItem *best = nullptr;
    for (const CatalogueItem &patch : patches) {
        if (patch.forVersion == version && (!best || isNewer(patch.version, best->version)))
            best = &patch;
    }
    return best;
}

QString readCatalogue(const QString &file, Catalogue *catalogue)
{
    QJsonDocument document;
    const QString unreadable = readJson(file, &document);
    if (!unreadable.isEmpty())
        return unreadable;
    Reader reader(file);
    QJsonObject root = reader.object(document.isObject() ? QJsonValue(document.object()) : QJsonValue(), QString());
    const QJsonArray products = reader.array(root, QStringLiteral("products"), QString());
    for (const QJsonValue product : products) {
        const QString place = QStringLiteral("/products/%1").arg(catalogue->size());
        *catalogue << reader.product(reader.object(product, place), place);
    }
    return reader.error().isEmpty() ? QString() : QStringLiteral("%1, %2").arg(file, reader.error());
}

bool isNewer(const QString &offered, const QString &installed)
{
    int offeredRest = 0;
    int installedRest = 0;
    const auto a = QVersionNumber::fromString(offered, &offeredRest);
    const auto b = QVersionNumber::fromString(installed, &installedRest);
    const int order = QVersionNumber::compare(a.normalized(), b.normalized());
    if (a.isNull() || b.isNull() || order == 0)
        return offered.mid(offeredRest) > installed.mid(installedRest);
    return order > 0;
}

} // namespace tarn::services
