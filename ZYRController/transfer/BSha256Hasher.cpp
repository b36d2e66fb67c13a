// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#include <ZYRController/BSha256Hasher_p.h>

#include <openssl/evp.h>

namespace Trelan::Oku::ZYRController {

BSha256Hasher::BSha256Hasher() : m_context(EVP_MD_CTX_new())
{
    m_ok = m_context && EVP_DigestInit_ex(m_context, EVP_sha256(), nullptr) == 1;
}

BSha256Hasher::~BSha256Hasher()
{
    EVP_MD_CTX_free(m_context);
}

void BSha256Hasher::addData(const char* data, qint64 size)
{
    if (m_ok && size > 0)
        m_ok = EVP_DigestUpdate(m_context, data, static_cast<size_t>(size)) == 1;
}

QByteArray BSha256Hasher::hexResult()
{
    unsigned char digest[EVP_MAX_MD_SIZE];
    unsigned int length = 0;
    if (!m_ok || EVP_DigestFinal_ex(m_context, digest, &length) != 1)
        return QByteArray();
    m_ok = false;
    return QByteArray(reinterpret_cast<const char*>(digest), int(length)).toHex();
}

} // namespace Trelan::Oku::ZYRController
