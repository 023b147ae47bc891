#pragma once
#include "Secret.h"

namespace tarn::services {

/// Argon2id with libsodium's interactive costs (64 MiB, tens of milliseconds). At most two run at a time, the others
/// wait. Any thread.
/// @return an ASCII text with salt and costs; empty when there is not enough memory
QByteArray hashPassword(const Secret &password);

/// @param hash what hashPassword() gave; empty costs the same time and fails
bool passwordMatches(const QByteArray &hash, const Secret &password);

} // namespace tarn::services
