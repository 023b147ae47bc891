#pragma once
#include "services/cloud/Secret.h"
#include <QSemaphore>

namespace tarn::services {

/// The places for hashing, which takes much memory and time. A caller for others takes one without waiting, so that
/// many sign-ins at once do not occupy every RPC worker.
QSemaphore &hashPlaces();

/// Argon2id with libsodium's interactive costs (64 MiB, tens of milliseconds). Any thread.
/// @return an ASCII text with salt and costs; empty when there is not enough memory
QByteArray hashPassword(const Secret &password);

enum class PasswordCheck { Matches, Differs, Failed }; ///< Failed: not compared, for want of memory or a bad hash

/// @param hash a result of hashPassword(); an empty one costs the same time and differs
PasswordCheck checkPassword(const QByteArray &hash, const Secret &password);

} // namespace tarn::services
