#pragma once

#include <QByteArray>
#include <QByteArrayView>

// Checks Ed25519 signatures (as Sparkle's sign_update makes them, over a whole file) against one
// public key. A plain value: copies may check on any thread.
class Ed25519Verifier {
public:
    static constexpr qsizetype kKeySize = 32;
    static constexpr qsizetype kSignatureSize = 64;

    // The key's 32 raw bytes, in base64; an invalid verifier when it is not that.
    explicit Ed25519Verifier(const QByteArray& publicKeyBase64);

    bool isValid() const { return m_publicKey.size() == kKeySize; }

    // Whether signatureBase64 is this key's signature of data.
    bool verify(QByteArrayView data, const QByteArray& signatureBase64) const;

private:
    QByteArray m_publicKey;
};
