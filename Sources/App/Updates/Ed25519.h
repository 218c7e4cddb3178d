#pragma once

#include <QByteArray>

/// Signatures by Ed25519 (RFC 8032, the pure variant).
namespace Pelgra::Ed25519 {

inline constexpr qsizetype publicKeySize = 32;
inline constexpr qsizetype signatureSize = 64;

/// Whether the signature is that of exactly these bytes under the raw public key. False where a size is wrong.
bool verify(const QByteArray& message, const QByteArray& signature, const QByteArray& publicKey);

} // namespace Pelgra::Ed25519
