#include "App/Updates/Ed25519.h"

#include <openssl/evp.h>

#include <memory>

namespace Pelgra::Ed25519 {

namespace {

struct KeyDeleter {
    void operator()(EVP_PKEY* key) const { EVP_PKEY_free(key); }
};

struct ContextDeleter {
    void operator()(EVP_MD_CTX* context) const { EVP_MD_CTX_free(context); }
};

const unsigned char* bytesOf(const QByteArray& array)
{
    return reinterpret_cast<const unsigned char*>(array.constData());
}

} // namespace

bool verify(const QByteArray& message, const QByteArray& signature, const QByteArray& publicKey)
{
    if (signature.size() != signatureSize || publicKey.size() != publicKeySize)
        return false;
    const std::unique_ptr<EVP_PKEY, KeyDeleter> key(EVP_PKEY_new_raw_public_key(
        EVP_PKEY_ED25519, nullptr, bytesOf(publicKey), static_cast<std::size_t>(publicKeySize)));
    const std::unique_ptr<EVP_MD_CTX, ContextDeleter> context(EVP_MD_CTX_new());
    return key && context && EVP_DigestVerifyInit(context.get(), nullptr, nullptr, nullptr, key.get()) == 1
        && EVP_DigestVerify(context.get(), bytesOf(signature), static_cast<std::size_t>(signature.size()),
                            bytesOf(message), static_cast<std::size_t>(message.size()))
        == 1;
}

} // namespace Pelgra::Ed25519
