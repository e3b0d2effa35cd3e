#include "orx/parameter/vantacrypt.h"

#include <gtest/gtest.h>

#include <array>
#include <string>
#include <vector>

namespace {

using Bytes = std::vector<unsigned char>;

constexpr std::size_t kOverhead = 28; // nonce of 12 and tag of 16 bytes

std::unique_ptr<CVantaCrypt> CipherWithKey(unsigned char first)
{
    auto cipher = CVantaCrypt::GetImplementation(ECryptAlg::eAesGcm, 256);
    std::array<unsigned char, 32> key{};
    key[0] = first;
    EXPECT_TRUE(cipher->SetKey(key.data(), key.size()));
    return cipher;
}

Bytes FromHex(const std::string& text)
{
    Bytes bytes;
    for (std::size_t i = 0; i + 1 < text.size(); i += 2) {
        bytes.push_back(static_cast<unsigned char>(std::stoi(text.substr(i, 2), nullptr, 16)));
    }
    return bytes;
}

Bytes Encrypted(CVantaCrypt& cipher, const Bytes& plain)
{
    std::size_t size = 0;
    EXPECT_TRUE(cipher.Encrypt(plain.data(), plain.size(), nullptr, size));
    Bytes encrypted(size);
    EXPECT_TRUE(cipher.Encrypt(plain.data(), plain.size(), encrypted.data(), size));
    EXPECT_EQ(size, encrypted.size());
    return encrypted;
}

bool Decrypt(CVantaCrypt& cipher, Bytes& bytes)
{
    std::size_t size = bytes.size();
    const bool done = cipher.Decrypt(bytes.data(), size);
    bytes.resize(size);
    return done;
}

// Test cases 13 and 14 of "The Galois/Counter Mode of Operation" by McGrew and Viega: key and nonce of zeros.
TEST(CVantaCrypt, DecryptsPublishedVectors)
{
    const auto cipher = CipherWithKey(0);
    Bytes none = FromHex("000000000000000000000000530f8afbc74536b9a963b4f1c4cb738b");
    EXPECT_TRUE(Decrypt(*cipher, none));
    EXPECT_TRUE(none.empty());
    Bytes zeros = FromHex("000000000000000000000000"
                          "cea7403d4d606b6e074ec5d3baf39d18"
                          "d0d1c8a799996bf0265b98b5d48ab919");
    EXPECT_TRUE(Decrypt(*cipher, zeros));
    EXPECT_EQ(zeros, Bytes(16, 0));
}

TEST(CVantaCrypt, AsksForTheSizeOfNonceAndTagBesideTheText)
{
    const auto cipher = CipherWithKey(1);
    for (const std::size_t length : {0, 1, 15, 16, 17, 1000}) {
        std::size_t size = 0;
        EXPECT_TRUE(cipher->Encrypt(nullptr, length, nullptr, size));
        EXPECT_EQ(size, length + kOverhead);
    }
}

TEST(CVantaCrypt, DecryptsInPlaceWhatItEncrypted)
{
    const auto cipher = CipherWithKey(1);
    for (std::size_t length = 0; length < 200; ++length) {
        Bytes plain(length);
        for (std::size_t i = 0; i < length; ++i) {
            plain[i] = static_cast<unsigned char>(i * 7);
        }
        Bytes bytes = Encrypted(*cipher, plain);
        ASSERT_TRUE(Decrypt(*cipher, bytes));
        ASSERT_EQ(bytes, plain);
    }
}

TEST(CVantaCrypt, EncryptsOneTextToDifferentBytesEachTime)
{
    const auto cipher = CipherWithKey(1);
    EXPECT_NE(Encrypted(*cipher, Bytes(40, 1)), Encrypted(*cipher, Bytes(40, 1)));
}

TEST(CVantaCrypt, RefusesEveryChangedBitAndWipesTheBytes)
{
    const auto cipher = CipherWithKey(1);
    const Bytes encrypted = Encrypted(*cipher, Bytes(20, 0xAB));
    for (std::size_t bit = 0; bit < encrypted.size() * 8; ++bit) {
        Bytes changed = encrypted;
        changed[bit / 8] ^= static_cast<unsigned char>(1U << (bit % 8));
        std::size_t size = changed.size();
        EXPECT_FALSE(cipher->Decrypt(changed.data(), size)) << bit;
        EXPECT_EQ(size, 0U);
        EXPECT_EQ(changed, Bytes(encrypted.size(), 0));
    }
}

TEST(CVantaCrypt, RefusesCutBytesAndAnotherKey)
{
    const Bytes encrypted = Encrypted(*CipherWithKey(1), Bytes(20, 0xAB));
    for (std::size_t length = 0; length < encrypted.size(); ++length) {
        Bytes cut(encrypted.begin(), encrypted.begin() + static_cast<std::ptrdiff_t>(length));
        EXPECT_FALSE(Decrypt(*CipherWithKey(1), cut)) << length;
    }
    Bytes copy = encrypted;
    EXPECT_FALSE(Decrypt(*CipherWithKey(2), copy));
    std::size_t size = 40;
    EXPECT_FALSE(CipherWithKey(1)->Decrypt(nullptr, size));
}

TEST(CVantaCrypt, WritesNothingIntoTooLittleRoom)
{
    const auto cipher = CipherWithKey(1);
    const Bytes plain(10, 1);
    Bytes out(plain.size() + kOverhead, 0x55);
    std::size_t size = out.size() - 1;
    EXPECT_FALSE(cipher->Encrypt(plain.data(), plain.size(), out.data(), size));
    EXPECT_EQ(size, 0U);
    EXPECT_EQ(out, Bytes(out.size(), 0x55));
}

TEST(CVantaCrypt, DoesNothingWithoutAKey)
{
    const auto cipher = CVantaCrypt::GetImplementation(ECryptAlg::eAesGcm, 256);
    std::size_t size = 0;
    EXPECT_FALSE(cipher->Encrypt(nullptr, 0, nullptr, size));
    Bytes bytes(40, 0);
    EXPECT_FALSE(Decrypt(*cipher, bytes));
    const Bytes key(33, 0);
    EXPECT_FALSE(cipher->SetKey(key.data(), 31));
    EXPECT_FALSE(cipher->SetKey(key.data(), 33));
    EXPECT_FALSE(cipher->SetKey(nullptr, 32));
    EXPECT_FALSE(cipher->Encrypt(nullptr, 0, nullptr, size));
}

TEST(CVantaCrypt, RefusesSizesThatItCannotCount)
{
    std::size_t size = 0;
    EXPECT_FALSE(CipherWithKey(1)->Encrypt(nullptr, std::size_t{1} << 31, nullptr, size));
    EXPECT_FALSE(CipherWithKey(1)->Encrypt(nullptr, ~std::size_t{0}, nullptr, size));
}

TEST(CVantaCrypt, KnowsOneAlgorithmAndKeyLength)
{
    EXPECT_EQ(static_cast<int>(ECryptAlg::eAesGcm), 1);
    EXPECT_EQ(CVantaCrypt::GetImplementation(ECryptAlg::eAesGcm, 128), nullptr);
    EXPECT_EQ(CVantaCrypt::GetImplementation(static_cast<ECryptAlg>(0), 256), nullptr);
    EXPECT_EQ(CVantaCrypt::GetImplementation(static_cast<ECryptAlg>(2), 256), nullptr);
}

} // namespace
