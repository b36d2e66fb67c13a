// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#include "CryptoUtil.h"

#include <openssl/crypto.h>
#include <openssl/evp.h>
#include <openssl/rand.h>

#include <algorithm>
#include <limits>
#include <stdexcept>
#include <vector>

namespace {
void fillRandom(unsigned char* buffer, std::size_t length)
{
    if (RAND_bytes(buffer, static_cast<int>(length)) != 1) {
        throw std::runtime_error("RAND_bytes failed");
    }
}

} // namespace

std::string CryptoUtil::randomHex(std::size_t byteCount)
{
    std::vector<unsigned char> bytes(byteCount);
    fillRandom(bytes.data(), bytes.size());
    return toHex(bytes.data(), bytes.size());
}

std::string CryptoUtil::randomString(const std::string& alphabet, std::size_t length)
{
    std::string result;
    result.reserve(length);
    // Rejection sampling keeps every character equally likely.
    const unsigned limit = 256 - (256 % alphabet.size());
    while (result.size() < length) {
        unsigned char byte = 0;
        fillRandom(&byte, 1);
        if (byte < limit) {
            result.push_back(alphabet[byte % alphabet.size()]);
        }
    }
    return result;
}

std::string CryptoUtil::sha256Hex(const std::string& data)
{
    unsigned char digest[EVP_MAX_MD_SIZE];
    unsigned int length = 0;
    if (EVP_Digest(data.data(), data.size(), digest, &length, EVP_sha256(), nullptr) != 1) {
        throw std::runtime_error("EVP_Digest failed");
    }
    return toHex(digest, length);
}

std::string CryptoUtil::toHex(const unsigned char* data, std::size_t length)
{
    static const char digits[] = "0123456789abcdef";
    std::string out;
    out.reserve(length * 2);
    for (std::size_t i = 0; i < length; ++i) {
        out.push_back(digits[data[i] >> 4]);
        out.push_back(digits[data[i] & 0x0f]);
    }
    return out;
}

std::string CryptoUtil::pbkdf2Hex(const std::string& password, const std::string& salt, int iterations)
{
    unsigned char key[32];
    if (PKCS5_PBKDF2_HMAC(password.data(), static_cast<int>(password.size()),
                          reinterpret_cast<const unsigned char*>(salt.data()), static_cast<int>(salt.size()),
                          iterations, EVP_sha256(), sizeof key, key)
        != 1) {
        throw std::runtime_error("PKCS5_PBKDF2_HMAC failed");
    }
    return toHex(key, sizeof key);
}

bool CryptoUtil::constantTimeEquals(const std::string& a, const std::string& b)
{
    return a.size() == b.size() && CRYPTO_memcmp(a.data(), b.data(), a.size()) == 0;
}

std::optional<std::string> CryptoUtil::base64Decode(const std::string& text)
{
    // EVP_DecodeBlock decodes "=" like "A" and skips surrounding white
    // space, so the padding is checked here: one or two "=" at the very end.
    const std::size_t padding = text.size() - std::min(text.size(), text.find_last_not_of('=') + 1);
    if (text.size() % 4 != 0 || padding > 2 || text.find('=') < text.size() - padding
        || text.size() > static_cast<std::size_t>(std::numeric_limits<int>::max())) {
        return std::nullopt;
    }
    std::string out(text.size() / 4 * 3, '\0');
    const int length
            = EVP_DecodeBlock(reinterpret_cast<unsigned char*>(out.data()),
                              reinterpret_cast<const unsigned char*>(text.data()), static_cast<int>(text.size()));
    if (length < 0 || static_cast<std::size_t>(length) != out.size()) {
        return std::nullopt;
    }
    out.resize(out.size() - padding);
    return out;
}
