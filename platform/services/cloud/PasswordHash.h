#pragma once
#include "services/cloud/Secret.h"

namespace tarn::services {

/// A turn at hashing, which takes much memory and time: at most three are given out, two of them hash at a time. Any
/// thread.
class HashTurn
{
public:
    HashTurn();
    ~HashTurn();
    HashTurn(const HashTurn &) = delete;
    HashTurn &operator=(const HashTurn &) = delete;

    bool isGiven() const { return m_isGiven; }
    void wait(); ///< until it may hash; only when it is given

private:
    bool m_isGiven = false;
    bool m_isPlaced = false;
};

/// Argon2id with libsodium's interactive costs (64 MiB, tens of milliseconds). Any thread; a caller for others waits for
/// its HashTurn first.
/// @return an ASCII text with salt and costs; empty when there is not enough memory
QByteArray hashPassword(const Secret &password);

enum class PasswordCheck { Matches, Differs, Failed }; ///< Failed: nobody knows, for want of memory

/// @param hash what hashPassword() gave; empty costs the same time and differs
PasswordCheck checkPassword(const QByteArray &hash, const Secret &password);

} // namespace tarn::services
