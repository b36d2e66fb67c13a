// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#pragma once

#include <QByteArray>

struct evp_md_ctx_st;

namespace Trelan::Oku::ZYRController {

/// SHA-256 of a stream of bytes, through OpenSSL (several times faster than
/// QCryptographicHash, which matters for a download checked as it arrives).
class BSha256Hasher {
public:
    BSha256Hasher();
    ~BSha256Hasher();
    BSha256Hasher(const BSha256Hasher&) = delete;
    BSha256Hasher& operator=(const BSha256Hasher&) = delete;

    void addData(const char* data, qint64 size);
    /// The digest of everything added, as lower-case hex; ends the hashing.
    QByteArray hexResult();

private:
    evp_md_ctx_st* m_context;
    bool m_ok;
};

} // namespace Trelan::Oku::ZYRController
