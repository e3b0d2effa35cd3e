// AES-256-GCM by OpenSSL.
#include "orx/parameter/vantacrypt.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <limits>
#include <openssl/crypto.h>
#include <openssl/evp.h>
#include <openssl/rand.h>

namespace {

constexpr int kKeyBits = 256;
constexpr std::size_t kKeySize = kKeyBits / 8;
constexpr std::size_t kNonceSize = 12;
constexpr std::size_t kTagSize = 16;
constexpr std::size_t kOverhead = kNonceSize + kTagSize;
constexpr std::size_t kLargestText =
    std::numeric_limits<int>::max() - kOverhead; // the interface counts in int

struct FreeContext
{
    void operator()(EVP_CIPHER_CTX* context) const { EVP_CIPHER_CTX_free(context); }
};
using Context = std::unique_ptr<EVP_CIPHER_CTX, FreeContext>;

class CAesGcm final : public CVantaCrypt
{
public:
    CAesGcm() = default;
    CAesGcm(const CAesGcm&) = delete;
    CAesGcm& operator=(const CAesGcm&) = delete;
    ~CAesGcm() override { OPENSSL_cleanse(m_Key.data(), m_Key.size()); }

    bool SetKey(const unsigned char* key, std::size_t length) override
    {
        m_bHasKey = key != nullptr && length == kKeySize;
        if (m_bHasKey) {
            std::copy_n(key, kKeySize, m_Key.begin());
        }
        return m_bHasKey;
    }

    bool Encrypt(const unsigned char* bytes, std::size_t size, unsigned char* out,
                 std::size_t& outSize) override
    {
        const std::size_t room = out != nullptr ? outSize : std::numeric_limits<std::size_t>::max();
        outSize = 0;
        if (!m_bHasKey || size > kLargestText || room < size + kOverhead) {
            return false;
        }
        if (out != nullptr && !EncryptTo(bytes, size, out)) {
            return false;
        }
        outSize = size + kOverhead;
        return true;
    }

    bool Decrypt(unsigned char* bytes, std::size_t& size) override
    {
        const std::size_t cipherSize = size;
        size = 0;
        if (bytes == nullptr) {
            return false;
        }
        if (!m_bHasKey || cipherSize < kOverhead || cipherSize - kOverhead > kLargestText ||
            !DecryptInPlace(bytes, cipherSize - kOverhead)) {
            OPENSSL_cleanse(bytes, cipherSize);
            return false;
        }
        size = cipherSize - kOverhead;
        return true;
    }

private:
    bool EncryptTo(const unsigned char* bytes, std::size_t size, unsigned char* out) const
    {
        unsigned char* const text = out + kNonceSize;
        const Context context(EVP_CIPHER_CTX_new());
        int written = 0;
        return context != nullptr && RAND_bytes(out, kNonceSize) == 1 &&
               EVP_EncryptInit_ex(context.get(), EVP_aes_256_gcm(), nullptr, m_Key.data(), out) == 1 &&
               (size == 0 ||
                EVP_EncryptUpdate(context.get(), text, &written, bytes, static_cast<int>(size)) == 1) &&
               EVP_EncryptFinal_ex(context.get(), text + size, &written) == 1 &&
               EVP_CIPHER_CTX_ctrl(context.get(), EVP_CTRL_GCM_GET_TAG, kTagSize, text + size) == 1;
    }

    bool DecryptInPlace(unsigned char* bytes, std::size_t size) const
    {
        unsigned char* const text = bytes + kNonceSize;
        const Context context(EVP_CIPHER_CTX_new());
        int written = 0;
        const bool authentic =
            context != nullptr &&
            EVP_DecryptInit_ex(context.get(), EVP_aes_256_gcm(), nullptr, m_Key.data(), bytes) == 1 &&
            (size == 0 ||
             EVP_DecryptUpdate(context.get(), text, &written, text, static_cast<int>(size)) == 1) &&
            EVP_CIPHER_CTX_ctrl(context.get(), EVP_CTRL_GCM_SET_TAG, kTagSize, text + size) == 1 &&
            EVP_DecryptFinal_ex(context.get(), text + size, &written) == 1;
        if (authentic) {
            std::memmove(bytes, text, size);
        }
        return authentic;
    }

    std::array<unsigned char, kKeySize> m_Key{};
    bool m_bHasKey = false;
};

} // namespace

std::unique_ptr<CVantaCrypt> CVantaCrypt::GetImplementation(ECryptAlg algorithm, int keyBits)
{
    if (algorithm != ECryptAlg::eAesGcm || keyBits != kKeyBits) {
        return nullptr;
    }
    return std::make_unique<CAesGcm>();
}
