#pragma once
#include "services/cloud/Secret.h"
#include <QSemaphore>

namespace tarn::services {

/// The places for hashing, which takes much memory and time. A caller for others takes one without waiting, so that
/// many sign-ins at once do not occupy every RPC worker.
QSemaphore &hashPlaces();

/// Argon2id with libsodium's interactive costs (64 MiB, tens of milliseconds). Any thread. Throws Failure when there is
/// not enough memory.
/// @return an ASCII text with salt and costs
QByteArray hashPassword(const Secret &password);

/// Whether a password is the hashed one. Throws Failure where it cannot be compared, for want of memory or a bad hash.
/// @param hash a result of hashPassword(); an empty one costs the same time and differs
bool isPassword(const QByteArray &hash, const Secret &password);

} // namespace tarn::services
