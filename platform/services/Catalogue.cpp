#include "services/Catalogue.h"
#include "services/Files.h"
#include "services/ValueReader.h"
#include "tarn/keys/UpgradeKeys.h"
#include "tarn/link/UpgradeWire.h"
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>
#include <QUrl>
#include <QVersionNumber>
#include <cmath>
#include <sodium.h>

namespace tarn::services {

using namespace upgrade;
namespace package = link::wire::package;

namespace {

constexpr qint64 MaxCatalogue = 8 * 1024 * 1024; // bytes
constexpr double MaxExact = 9007199254740992;    // 2^53: the integers of JSON are exact up to here

// An object of the file. A mistake names its place.
class Node : public ValueReader
{
public:
    Node(const QVariant &value, const QString &place, const QDir &directory)
        : ValueReader(value.toMap(), place + QLatin1Char('/'))
        , m_directory(directory)
    {
        failIf(value.userType() != QMetaType::QVariantMap, place + QStringLiteral(": expected an object"));
    }

    QVariantMap without(const QStringList &keys) const
    {
        QVariantMap rest = values();
        for (const QString &key : keys)
            rest.remove(key);
        return rest;
    }

    QString path(const QString &key) const
    {
        const QString value = optionalText(key);
        return value.isEmpty() ? value : QDir::cleanPath(m_directory.absoluteFilePath(value));
    }

    QString url(const QString &key) const
    {
        const QUrl base = QUrl::fromLocalFile(m_directory.absolutePath() + QLatin1Char('/'));
        const QString value = text(key);
        expect(!value.isEmpty(), key, QStringLiteral("an address"));
        return base.resolved(QUrl(value)).toString();
    }

    bool contains(const QString &key) const { return !values().value(key).isNull(); }
    Node object(const QString &key) const { return {values().value(key), placeOf(key), m_directory}; }

    // Converts each object of an array with read(). A missing array or null gives an empty list.
    template <class Read>
    auto list(const QString &key, Read read) const
    {
        const QVariant value = values().value(key);
        expect(!contains(key) || value.userType() == QMetaType::QVariantList, key, QStringLiteral("an array"));
        QList<decltype(read(std::declval<Node>()))> entries;
        for (const QVariant &entry : value.toList())
            entries << read(
                Node(entry, placeOf(key) + QLatin1Char('/') + QString::number(entries.size()), m_directory));
        return entries;
    }

private:
    QDir m_directory;
};

void readPackage(const Node &node, CatalogueItem *item)
{
    const QString size = QStringLiteral("size"), sha256 = QStringLiteral("sha256");
    const double bytes = QJsonValue::fromVariant(node.values().value(size)).toDouble();
    node.expect(bytes >= 1 && bytes <= MaxExact && std::floor(bytes) == bytes, size,
                QStringLiteral("a number of bytes, 1 or more"));
    item->package.url = node.url(QStringLiteral("url"));
    item->package.size = static_cast<qint64>(bytes);
    item->package.sha256 = node.text(sha256).toLower();
    node.expect(item->package.sha256.size() == 64, sha256, QStringLiteral("64 hexadecimal digits"));
    item->section.insert(package::Url, item->package.url);
    item->section.insert(package::Size, item->package.size);
    item->section.insert(package::Sha256, item->package.sha256);
}

CatalogueItem readItem(const Node &node, const QString &product)
{
    const QString name = QStringLiteral("name"), version = QStringLiteral("version"), date = QStringLiteral("date"),
                  notes = QStringLiteral("notes"), forced = QStringLiteral("forced"), madeFor = QStringLiteral("for"),
                  pack = QStringLiteral("package");
    CatalogueItem item;
    item.package.name = node.contains(name) ? node.name(name) : product;
    item.package.version = node.name(version);
    item.forVersion = node.optionalText(madeFor);
    item.section = node.without({name, version, date, notes, forced, madeFor, pack});
    item.section.insert(key::SoftwareName, item.package.name);
    item.section.insert(key::NewVersion, item.package.version);
    item.section.insert(key::ReleaseDate, node.optionalText(date));
    item.section.insert(key::NotesFile, node.path(notes));
    item.section.insert(key::Forced, node.flag(forced));
    if (node.contains(pack))
        readPackage(node.object(pack), &item);
    return item;
}

CatalogueProduct readProduct(const Node &node)
{
    const QString name = QStringLiteral("name"), icon = QStringLiteral("icon"), release = QStringLiteral("release"),
                  patches = QStringLiteral("patches"), plugins = QStringLiteral("plugins");
    CatalogueProduct product;
    product.name = node.name(name);
    const auto read = [&product](const Node &each) { return readItem(each, product.name); };
    if (node.contains(release))
        product.release = read(node.object(release));
    product.patches = node.list(patches, read);
    product.plugins = node.list(plugins, read);
    product.record = node.without({name, icon, release, patches, plugins});
    product.record.insert(key::SoftwareName, product.name);
    product.record.insert(key::IconPath, node.path(icon));
    return product;
}

QByteArray readFile(const QString &name, qint64 maxSize)
{
    QFile file;
    if (!openRegular(QFileInfo(name).canonicalFilePath(), &file))
        throw systemFailure(name);
    QByteArray bytes = file.read(maxSize + 1);
    if (file.error() != QFileDevice::NoError)
        throw Failure(QStringLiteral("%1: %2").arg(name, file.errorString()));
    failIf(bytes.size() > maxSize, QStringLiteral("%1 has more than %2 bytes").arg(name, QString::number(maxSize)));
    return bytes;
}

const unsigned char *raw(const QByteArray &bytes)
{
    return reinterpret_cast<const unsigned char *>(bytes.constData());
}

void checkSignature(const QString &file, const QByteArray &bytes, const QString &publicKey)
{
    const QByteArray key = QByteArray::fromBase64(publicKey.toLatin1());
    failIf(key.size() != int{crypto_sign_PUBLICKEYBYTES},
           QStringLiteral("the configured public key is no Ed25519 key: expected %1 bytes in base64")
               .arg(crypto_sign_PUBLICKEYBYTES));
    QByteArray signature;
    const QString error = errorOf([&] { signature = readFile(file + QStringLiteral(".sig"), crypto_sign_BYTES); });
    failIf(!error.isEmpty(), QStringLiteral("the signature cannot be read: %1").arg(error));
    if (signature.size() != int{crypto_sign_BYTES} || sodium_init() < 0 ||
        crypto_sign_verify_detached(raw(signature), raw(bytes), static_cast<unsigned long long>(bytes.size()),
                                    raw(key)) != 0)
        throw Failure(QStringLiteral("%1 is not signed with the configured key").arg(file));
}

} // namespace

Catalogue readCatalogue(const QString &file, const QString &publicKey)
{
    const QByteArray bytes = readFile(file, MaxCatalogue);
    if (!publicKey.isEmpty())
        checkSignature(file, bytes, publicKey);
    QJsonParseError wrong = {};
    const QJsonDocument document = QJsonDocument::fromJson(bytes, &wrong);
    if (wrong.error != QJsonParseError::NoError)
        throw Failure(QStringLiteral("%1, byte %2: %3").arg(file, QString::number(wrong.offset), wrong.errorString()));
    try {
        return Node(document.toVariant(), {}, QFileInfo(file).absoluteDir())
            .list(QStringLiteral("products"), readProduct);
    } catch (const Failure &mistake) {
        throw Failure(QStringLiteral("%1, %2").arg(file, mistake.text()));
    }
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
