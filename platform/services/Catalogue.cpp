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

// An object of the file, without the values that were read already. A mistake names its place.
class Node
{
public:
    Node(const QJsonValue &value, QString place, const QDir &directory)
        : m_json(value.toObject())
        , m_place(std::move(place))
        , m_directory(directory)
    {
        if (!value.isObject())
            throw Failure(m_place + QStringLiteral(": expected an object"));
    }

    bool contains(const QString &key) const { return m_json.contains(key); }
    QJsonValue take(const QString &key) { return m_json.take(key); }
    QVariantMap rest() const { return m_json.toVariantMap(); }

    void expect(bool holds, const QString &key, const QString &wanted) const
    {
        if (!holds)
            throw Failure(QStringLiteral("%1/%2: expected %3").arg(m_place, key, wanted));
    }

    QString text(const QString &key)
    {
        const QJsonValue value = take(key);
        expect(value.isString() || value.isUndefined(), key, QStringLiteral("a string"));
        return value.toString();
    }

    QString name(const QString &key)
    {
        QString value = text(key);
        expect(!value.isEmpty() && value.size() <= MaxName, key, QStringLiteral("1 to %1 characters").arg(MaxName));
        return value;
    }

    QString path(const QString &key)
    {
        const QString value = text(key);
        return value.isEmpty() ? value : QDir::cleanPath(m_directory.absoluteFilePath(value));
    }

    QString url(const QString &key)
    {
        const QString value = text(key);
        expect(!value.isEmpty(), key, QStringLiteral("an address"));
        const QUrl base = QUrl::fromLocalFile(m_directory.absolutePath() + QLatin1Char('/'));
        return base.resolved(QUrl(value)).toString();
    }

    Node object(const QString &key) { return {take(key), m_place + QLatin1Char('/') + key, m_directory}; }

    // Converts each object of an array with read(). A missing array gives an empty list.
    template <class Read>
    auto list(const QString &key, Read read)
    {
        const QJsonValue value = take(key);
        expect(value.isArray() || value.isUndefined(), key, QStringLiteral("an array"));
        QList<decltype(read(std::declval<Node>()))> entries;
        const QJsonArray array = value.toArray();
        for (const QJsonValue entry : array) {
            const QString place = QStringLiteral("%1/%2/%3").arg(m_place, key, QString::number(entries.size()));
            entries << read(Node(entry, place, m_directory));
        }
        return entries;
    }

private:
    QJsonObject m_json;
    QString m_place;
    QDir m_directory;
};

void readPackage(Node node, CatalogueItem *item)
{
    item->url = node.url(QStringLiteral("url"));
    const double size = node.take(QStringLiteral("size")).toDouble(-1);
    node.expect(size >= 1 && size <= MaxExact && std::floor(size) == size, QStringLiteral("size"),
                QStringLiteral("a number of bytes, 1 or more"));
    item->size = static_cast<qint64>(size);
    item->sha256 = node.text(QStringLiteral("sha256")).toLower();
    node.expect(item->sha256.size() == 64, QStringLiteral("sha256"), QStringLiteral("64 hexadecimal digits"));
}

CatalogueItem readItem(Node node, const QString &product)
{
    CatalogueItem item;
    item.name = node.contains(QStringLiteral("name")) ? node.name(QStringLiteral("name")) : product;
    item.version = node.name(QStringLiteral("version"));
    item.date = node.text(QStringLiteral("date"));
    item.notesFile = node.path(QStringLiteral("notes"));
    item.forVersion = node.text(QStringLiteral("for"));
    item.forced = node.take(QStringLiteral("forced")).toBool();
    if (node.contains(QStringLiteral("package")))
        readPackage(node.object(QStringLiteral("package")), &item);
    item.further = node.rest();
    return item;
}

CatalogueProduct readProduct(Node node)
{
    CatalogueProduct product;
    product.name = node.name(QStringLiteral("name"));
    product.iconFile = node.path(QStringLiteral("icon"));
    const auto item = [&product](const Node &each) { return readItem(each, product.name); };
    if (node.contains(QStringLiteral("release")))
        product.release = item(node.object(QStringLiteral("release")));
    product.patches = node.list(QStringLiteral("patches"), item);
    product.plugins = node.list(QStringLiteral("plugins"), item);
    product.further = node.rest();
    return product;
}

// Reads a regular file of limited size.
QByteArray readFile(const QString &name, qint64 maxSize)
{
    QFile file;
    if (!openRegular(QFileInfo(name).canonicalFilePath(), &file))
        throw systemFailure(name);
    QByteArray bytes = file.read(maxSize + 1);
    if (file.error() != QFileDevice::NoError)
        throw Failure(QStringLiteral("%1: %2").arg(name, file.errorString()));
    if (bytes.size() > maxSize)
        throw Failure(QStringLiteral("%1 has more than %2 bytes").arg(name, QString::number(maxSize)));
    return bytes;
}

const unsigned char *raw(const QByteArray &bytes)
{
    return reinterpret_cast<const unsigned char *>(bytes.constData());
}

void checkSignature(const QString &file, const QByteArray &bytes, const QString &publicKey)
{
    const QByteArray key = QByteArray::fromBase64(publicKey.toLatin1());
    if (key.size() != int{crypto_sign_PUBLICKEYBYTES})
        throw Failure(QStringLiteral("the configured public key is no Ed25519 key: expected %1 bytes in base64")
                          .arg(crypto_sign_PUBLICKEYBYTES));
    QByteArray signature;
    const QString error = errorOf([&] { signature = readFile(file + QStringLiteral(".sig"), crypto_sign_BYTES); });
    if (!error.isEmpty())
        throw Failure(QStringLiteral("the signature cannot be read: %1").arg(error));
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
        const QJsonValue root = document.isObject() ? QJsonValue(document.object()) : QJsonValue();
        return Node(root, {}, QFileInfo(file).absoluteDir()).list(QStringLiteral("products"), readProduct);
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
