#include "system/Ed25519Verifier.h"

#include <openssl/err.h>
#include <openssl/evp.h>

#include <memory>

namespace {

QByteArray decodeBase64(const QByteArray& text, qsizetype size) {
    const auto decoded = QByteArray::fromBase64Encoding(
        text.trimmed(), QByteArray::Base64Encoding | QByteArray::AbortOnBase64DecodingErrors);
    return decoded && decoded.decoded.size() == size ? *decoded : QByteArray();
}

} // namespace

Ed25519Verifier::Ed25519Verifier(const QByteArray& publicKeyBase64)
    : m_publicKey(decodeBase64(publicKeyBase64, kKeySize)) {
}

bool Ed25519Verifier::verify(QByteArrayView data, const QByteArray& signatureBase64) const {
    const QByteArray signature = decodeBase64(signatureBase64, kSignatureSize);
    if (!isValid() || signature.isEmpty())
        return false;
    const std::unique_ptr<EVP_PKEY, decltype(&EVP_PKEY_free)> key(
        EVP_PKEY_new_raw_public_key(EVP_PKEY_ED25519, nullptr,
                                    reinterpret_cast<const unsigned char*>(m_publicKey.data()),
                                    size_t(m_publicKey.size())),
        &EVP_PKEY_free);
    const std::unique_ptr<EVP_MD_CTX, decltype(&EVP_MD_CTX_free)> context(EVP_MD_CTX_new(),
                                                                          &EVP_MD_CTX_free);
    // Ed25519 hashes the message itself: no digest is named, and the whole of it goes in at once.
    const bool valid =
        key && context &&
        EVP_DigestVerifyInit(context.get(), nullptr, nullptr, nullptr, key.get()) == 1 &&
        EVP_DigestVerify(
            context.get(), reinterpret_cast<const unsigned char*>(signature.constData()),
            size_t(signature.size()), reinterpret_cast<const unsigned char*>(data.data()),
            size_t(data.size())) == 1;
    // A refused signature leaves its reasons on this thread's error queue; they are not wanted.
    ERR_clear_error();
    return valid;
}
