// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#include "Sha256Hasher.h"

#include "CryptoUtil.h"

#include <openssl/evp.h>

#include <fcntl.h>
#include <unistd.h>

#include <stdexcept>
#include <vector>

Sha256Hasher::Sha256Hasher() : m_context(EVP_MD_CTX_new())
{
    if (!m_context || EVP_DigestInit_ex(m_context, EVP_sha256(), nullptr) != 1) {
        EVP_MD_CTX_free(m_context);
        throw std::runtime_error("cannot initialise SHA-256");
    }
}

Sha256Hasher::~Sha256Hasher()
{
    EVP_MD_CTX_free(m_context);
}

void Sha256Hasher::add(const char* data, std::size_t length)
{
    if (length > 0) {
        EVP_DigestUpdate(m_context, data, length);
    }
}

std::string Sha256Hasher::finish()
{
    unsigned char digest[EVP_MAX_MD_SIZE];
    unsigned int length = 0;
    EVP_DigestFinal_ex(m_context, digest, &length);
    return CryptoUtil::toHex(digest, length);
}

std::string Sha256Hasher::hashFile(const std::string& path)
{
    const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) {
        return {};
    }
    Sha256Hasher hasher;
    std::vector<char> buffer(1 << 20);
    for (;;) {
        const ssize_t n = ::read(fd, buffer.data(), buffer.size());
        if (n < 0) {
            ::close(fd);
            return {};
        }
        if (n == 0) {
            break;
        }
        hasher.add(buffer.data(), static_cast<std::size_t>(n));
    }
    ::close(fd);
    return hasher.finish();
}
