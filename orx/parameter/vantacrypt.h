// Ciphers for parameter data.
#pragma once

#include "orx/base/export.h"

#include <cstddef>
#include <memory>

/// Codes of the ciphers, as `CVantaCrypt::GetImplementation` takes them.
enum class ECryptAlg
{
    eAesGcm = 1 ///< AES in Galois/counter mode (NIST SP 800-38D), with keys of 256 bits
};

/// A symmetric cipher that authenticates: what was not encrypted under the same key, or was changed since, does
/// not decrypt.
///
/// The ciphertext of n bytes has n + 28: a random nonce of 12 bytes, the n encrypted bytes, and the tag of 16
/// bytes. There is no padding and no further authenticated data. One object serves one thread.
class ORX_EXPORT CVantaCrypt
{
public:
    virtual ~CVantaCrypt() = default;

    /// A cipher without a key; null for an algorithm or a key length that is not there.
    /// @param keyBits 256
    static std::unique_ptr<CVantaCrypt> GetImplementation(ECryptAlg algorithm, int keyBits);

    /// Copies the key; the copy is wiped with the object.
    /// @return false, with no key set, for a null key or a length in bytes other than the cipher's
    virtual bool SetKey(const unsigned char* key, std::size_t length) = 0;

    /// Encrypts `size` bytes.
    /// @param out null to learn the size that the ciphertext takes
    /// @param outSize receives that size; where `out` is not null, it holds the room there before
    /// @return false without a key, for too little room, for 2 GiB or more, or where the system has no random
    /// bytes; `outSize` is then 0 and `out` is not to be used
    virtual bool Encrypt(const unsigned char* bytes, std::size_t size, unsigned char* out,
                         std::size_t& outSize) = 0;

    /// Decrypts in place.
    /// @param bytes the ciphertext; receives the plain bytes at its beginning
    /// @param size its size; receives that of the plain bytes, 0 on failure
    /// @return false without a key or for bytes that are no ciphertext of this key; `bytes` is then wiped
    virtual bool Decrypt(unsigned char* bytes, std::size_t& size) = 0;

protected:
    CVantaCrypt() = default;
    CVantaCrypt(const CVantaCrypt&) = default;
    CVantaCrypt& operator=(const CVantaCrypt&) = default;
};
