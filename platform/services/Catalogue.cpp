#include "services/Catalogue.h"
#include "services/Files.h"
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QUrl>
#include <QVersionNumber>
#include <algorithm>
#include <cmath>
#include <sodium.h>

namespace tarn::services {

namespace {

constexpr qint64 MaxCatalogue = 8 * 1024 * 1024; // bytes
constexpr int MaxName = 256;                     // characters
constexpr double MaxExact = 9007199254740992;    // 2^53: the integers of JSON are exact up to here

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
            fail(place + QLatin1Char('/') + key, QStringLiteral("expected an array"));
        return value.toArray();
    }

    QJsonObject object(const QJsonValue &value, const QString &place)
    {
        if (!value.isObject())
            fail(place, QStringLiteral("expected an object"));
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
            fail(place + QLatin1Char('/') + key, QStringLiteral("expected a string"));
        return value.toString();
    }

    QString name(QJsonObject &json, const QString &key, const QString &place)
    {
        const QString value = text(json, key, place);
        if (value.isEmpty() || value.size() > MaxName)
            fail(place + QLatin1Char('/') + key, QStringLiteral("expected 1 to %1 characters").arg(MaxName));
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
            fail(place + QStringLiteral("/url"), QStringLiteral("expected an address"));
        item->url = QUrl::fromLocalFile(m_directory.absolutePath() + QLatin1Char('/')).resolved(QUrl(url)).toString();
        const double size = json.value(QStringLiteral("size")).toDouble(-1);
        if (size >= 1 && size <= MaxExact && std::floor(size) == size)
            item->size = static_cast<qint64>(size);
        else
            fail(place + QStringLiteral("/size"), QStringLiteral("expected a number of bytes, 1 or more"));
        item->sha256 = text(json, QStringLiteral("sha256"), place).toLower();
        if (item->sha256.size() != 64)
            fail(place + QStringLiteral("/sha256"), QStringLiteral("expected 64 hexadecimal digits"));
    }

    const QDir m_directory;
    QString m_error;
};

// Reads a regular file of limited size; anything else is an error.
QString readFile(const QString &name, qint64 maxSize, QByteArray *bytes)
{
    QFile file;
    const int descriptor = openRegular(QFileInfo(name).canonicalFilePath());
    if (descriptor < 0 || !file.open(descriptor, QIODevice::ReadOnly, QFileDevice::AutoCloseHandle))
        return QStringLiteral("%1: %2").arg(name, systemError());
    *bytes = file.read(maxSize + 1);
    if (file.error() != QFileDevice::NoError)
        return QStringLiteral("%1: %2").arg(name, file.errorString());
    return bytes->size() > maxSize ? QStringLiteral("%1 has more than %2 bytes").arg(name, QString::number(maxSize))
                                   : QString();
}

QString checkSignature(const QString &file, const QByteArray &bytes, const QString &publicKey)
{
    const QByteArray key = QByteArray::fromBase64(publicKey.toLatin1());
    if (key.size() != int{crypto_sign_PUBLICKEYBYTES})
        return QStringLiteral("the configured public key is no Ed25519 key: expected %1 bytes in base64")
            .arg(crypto_sign_PUBLICKEYBYTES);
    QByteArray signature;
    const QString error = readFile(file + QStringLiteral(".sig"), crypto_sign_BYTES, &signature);
    if (!error.isEmpty())
        return QStringLiteral("the signature cannot be read: %1").arg(error);
    const auto *const data = reinterpret_cast<const unsigned char *>(bytes.constData());
    const bool isSigned = signature.size() == int{crypto_sign_BYTES} && sodium_init() >= 0 &&
                          crypto_sign_verify_detached(reinterpret_cast<const unsigned char *>(signature.constData()),
                                                      data, static_cast<unsigned long long>(bytes.size()),
                                                      reinterpret_cast<const unsigned char *>(key.constData())) == 0;
    return isSigned ? QString() : QStringLiteral("%1 is not signed with the configured key").arg(file);
}

QString readJson(const QString &file, const QString &publicKey, QJsonDocument *document)
{
    QByteArray bytes;
    QString error = readFile(file, MaxCatalogue, &bytes);
    if (error.isEmpty() && !publicKey.isEmpty())
        error = checkSignature(file, bytes, publicKey);
    if (!error.isEmpty())
        return error;
    QJsonParseError wrong = {};
    *document = QJsonDocument::fromJson(bytes, &wrong);
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

QString readCatalogue(const QString &file, const QString &publicKey, Catalogue *catalogue)
{
    QJsonDocument document;
    const QString unreadable = readJson(file, publicKey, &document);
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
