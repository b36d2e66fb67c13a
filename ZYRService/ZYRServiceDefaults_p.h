// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#pragma once

#include <QtGlobal>

namespace Trelan::Oku::ZYRService::Defaults {

/// Every route of the cloud's interface lives below this prefix.
inline constexpr char ApiPrefix[] = "/api/v1";

/// Environment variable read for the server address when none was set.
inline constexpr char ServerUrlVariable[] = "ZYR_SERVER_URL";

/// No request timeout unless the application asks for one: the controller's
/// own inactivity timers decide when a transfer has stalled.
inline constexpr int RequestTimeoutMs = 0;

/// Decompressed size from which Qt starts checking listings for a suspicious
/// compression ratio. Qt's 10 MiB default rejects a large, very regular
/// folder listing that a compressing proxy shrank; 256 MiB still stops a
/// real decompression bomb long before memory runs out.
inline constexpr qint64 ListingDecompressionCheckThreshold = 256LL * 1024 * 1024;

/// Read buffer of file downloads. Without a bound the reply buffers as fast
/// as loopback delivers, while the handler's thread writes to disk more
/// slowly, and memory grows with the file (measured: 216 MiB for a 512 MiB
/// download). 1 MiB keeps memory flat at full speed; 64 KiB halved it.
inline constexpr qint64 DownloadReadBufferBytes = 1024 * 1024;

/// How often a finishing thread re-runs its cancel pass when owners issued
/// new requests from their cancelled handlers; a bound against a loop.
inline constexpr int ThreadEndCancelPasses = 8;

} // namespace Trelan::Oku::ZYRService::Defaults
