// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#include "BlobStore.h"

#include "CryptoUtil.h"
#include "Sha256Hasher.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <stdexcept>
#include <vector>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {
void makeDirectory(const std::string& path)
{
    if (::mkdir(path.c_str(), 0700) != 0 && errno != EEXIST) {
        throw std::runtime_error("cannot create " + path + ": " + std::strerror(errno));
    }
}

bool isDigest(const std::string& digest)
{
    if (digest.size() != 64) {
        return false;
    }
    for (const char c : digest) {
        if (!((c >= '0' && c <= '9') || (c >= 'a' && c <= 'f'))) {
            return false;
        }
    }
    return true;
}

bool writeAll(int fd, const char* data, std::size_t length)
{
    while (length > 0) {
        const ssize_t n = ::write(fd, data, length);
        if (n < 0) {
            if (errno == EINTR) {
                continue;
            }
            return false;
        }
        data += n;
        length -= static_cast<std::size_t>(n);
    }
    return true;
}
} // namespace

BlobStore::BlobStore(const std::string& dataDir) : m_dataDir(dataDir)
{
    makeDirectory(m_dataDir + "/blobs");
    makeDirectory(m_dataDir + "/uploads");
    makeDirectory(m_dataDir + "/tmp");
}

std::string BlobStore::blobPath(const std::string& digest) const
{
    if (!isDigest(digest)) {
        throw std::runtime_error("not a digest: " + digest);
    }
    return m_dataDir + "/blobs/" + digest.substr(0, 2) + "/" + digest;
}

std::string BlobStore::partPath(const std::string& uploadId) const
{
    return m_dataDir + "/uploads/" + uploadId + ".part";
}

int BlobStore::openBlob(const std::string& digest) const
{
    return ::open(blobPath(digest).c_str(), O_RDONLY | O_CLOEXEC);
}

bool BlobStore::hasBlob(const std::string& digest) const
{
    struct stat st { };
    return ::stat(blobPath(digest).c_str(), &st) == 0;
}

void BlobStore::removeBlob(const std::string& digest) const
{
    ::unlink(blobPath(digest).c_str());
}

std::string BlobStore::storeGenerated(const Generator& generator, std::int64_t& size) const
{
    const std::string tmp = m_dataDir + "/tmp/" + CryptoUtil::randomHex(8) + ".tmp";
    const int fd = ::open(tmp.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    if (fd < 0) {
        throw std::runtime_error("cannot create " + tmp + ": " + std::strerror(errno));
    }
    Sha256Hasher hasher;
    std::vector<char> buffer(1 << 20);
    size = 0;
    for (;;) {
        const std::size_t n = generator(buffer.data(), buffer.size());
        if (n == 0) {
            break;
        }
        hasher.add(buffer.data(), n);
        if (!writeAll(fd, buffer.data(), n)) {
            ::close(fd);
            ::unlink(tmp.c_str());
            throw std::runtime_error("cannot write " + tmp + ": " + std::strerror(errno));
        }
        size += static_cast<std::int64_t>(n);
    }
    ::close(fd);
    const std::string digest = hasher.finish();
    makeDirectory(m_dataDir + "/blobs/" + digest.substr(0, 2));
    if (::rename(tmp.c_str(), blobPath(digest).c_str()) != 0) {
        ::unlink(tmp.c_str());
        throw std::runtime_error("cannot store blob " + digest + ": " + std::strerror(errno));
    }
    return digest;
}

std::string BlobStore::storeBytes(const std::string& bytes) const
{
    std::size_t offset = 0;
    std::int64_t size = 0;
    return storeGenerated(
            [&](char* buffer, std::size_t capacity) {
                const std::size_t n = std::min(capacity, bytes.size() - offset);
                std::memcpy(buffer, bytes.data() + offset, n);
                offset += n;
                return n;
            },
            size);
}

void BlobStore::resetPart(const std::string& uploadId) const
{
    const int fd = ::open(partPath(uploadId).c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    if (fd < 0) {
        throw std::runtime_error("cannot create part file: " + std::string(std::strerror(errno)));
    }
    ::close(fd);
}

std::int64_t BlobStore::partSize(const std::string& uploadId) const
{
    struct stat st { };
    if (::stat(partPath(uploadId).c_str(), &st) != 0) {
        return 0;
    }
    return static_cast<std::int64_t>(st.st_size);
}

void BlobStore::removePart(const std::string& uploadId) const
{
    ::unlink(partPath(uploadId).c_str());
}

void BlobStore::publishPart(const std::string& uploadId, const std::string& digest) const
{
    const std::string target = blobPath(digest);
    makeDirectory(m_dataDir + "/blobs/" + digest.substr(0, 2));
    if (::link(partPath(uploadId).c_str(), target.c_str()) != 0 && errno != EEXIST) {
        throw std::runtime_error("cannot store blob " + digest + ": " + std::strerror(errno));
    }
}
