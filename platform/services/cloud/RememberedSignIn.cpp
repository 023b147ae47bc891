#include "services/cloud/RememberedSignIn.h"
#include "services/Log.h"
#include <QDataStream>

namespace tarn::services {

namespace {

constexpr quint32 Version = 2;
constexpr int MaxSize = 256 * 1024; // bytes, of texts as long as requests may have them

void setFormat(QDataStream &stream)
{
    stream.setVersion(QDataStream::Qt_5_15);
    stream.setByteOrder(QDataStream::LittleEndian); // another order than the machine's copies the texts
}

Secret pack(const RememberedSignIn &memory)
{
    QByteArray bytes;
    bytes.reserve(MaxSize); // never moved, so that one copy is overwritten
    QDataStream stream(&bytes, QIODevice::WriteOnly);
    setFormat(stream);
    stream << Version << memory.model << memory.autoLogin << memory.keepsPassword << memory.keepsPhone << memory.account
           << memory.password << memory.phone << memory.autoAccount << memory.autoId << memory.autoWay;
    return Secret(std::move(bytes));
}

// The bytes come from the vault, which has checked that they are ours.
bool unpack(const Secret &plain, RememberedSignIn *memory)
{
    const QByteArray bytes = QByteArray::fromRawData(plain.chars(), plain.size());
    QDataStream stream(bytes);
    setFormat(stream);
    quint32 version = 0;
    stream >> version;
    if (version != Version)
        return false;
    stream >> memory->model >> memory->autoLogin >> memory->keepsPassword >> memory->keepsPhone >> memory->account >>
        memory->password >> memory->phone >> memory->autoAccount >> memory->autoId >> memory->autoWay;
    return stream.status() == QDataStream::Ok;
}

} // namespace

void RememberedSignIn::setAuto(bool wanted, const QString &name, const QString &id, const QString &usedWay)
{
    autoLogin = wanted;
    autoAccount = wanted ? name : QString();
    autoId = wanted ? id : QString();
    autoWay = usedWay;
}

bool RememberedSignIn::forget(const QString &name)
{
    if (autoAccount != name && account != name)
        return false;
    if (autoAccount == name)
        setAuto(false, {}, {}, autoWay);
    if (account == name) {
        account.clear();
        wipe(&password);
        keepsPassword = false;
    }
    return true;
}

RememberedSignIn RememberedSignIn::load(CloudStore *store, const Vault &vault)
{
    vault.requireKey();
    const QByteArray sealed = store->value(QStringLiteral("SELECT sealed FROM remembered")).toByteArray();
    if (sealed.isEmpty())
        return {};
    const auto plain = vault.open(sealed);
    RememberedSignIn remembered;
    if (plain && unpack(*plain, &remembered))
        return remembered;
    qCWarning(servicesLog, "the remembered sign-in cannot be opened with this key: it counts as none");
    return {};
}

void RememberedSignIn::save(CloudStore *store, const Vault &vault) const
{
    store->run(QStringLiteral("INSERT OR REPLACE INTO remembered VALUES(1, ?)"), {vault.seal(pack(*this))});
}

} // namespace tarn::services
