#pragma once

// Replaces the provisional file dates the scanner put into `captureDate` with the capture
// dates recorded inside the files, to the millisecond where the camera recorded a subsecond.
//
// A serial actor: the date cache and the enrichment loop run on one thread of their own. File
// reads take a decode slot of the preview pipeline at priority 0, below every preview, so that
// reading dates in the background never delays the picture the user waits for.

#include "model/PhotoModel.h"
#include "preview/DecodeSlots.h"

#include <QDateTime>
#include <QFuture>
#include <QHash>
#include <QList>
#include <QThreadPool>

#include <atomic>
#include <functional>
#include <memory>
#include <optional>

namespace kestrava {

// Stops an enrichment between two files; the enrichment then finishes normally with the list
// as far as it got. Copies share one flag.
class MetadataCancellation {
public:
    MetadataCancellation() : flag_(std::make_shared<std::atomic<bool>>(false)) {}
    void cancel() { *flag_ = true; }
    bool isCancelled() const { return *flag_; }

private:
    std::shared_ptr<std::atomic<bool>> flag_;
};

class MetadataPipeline {
public:
    using DateReader = std::function<std::optional<QDateTime>(const QString& path)>;
    static constexpr int decodePriority = 0;

    struct Options {
        DateReader reader;                                    // default: readCaptureDate (Exiv2)
        DecodeSlots* decodeSlots = nullptr;                   // default: the shared preview pipeline's
        std::function<int(const QString& path)> decodeConcurrency; // default: the shared preview pipeline's
    };

    MetadataPipeline();
    explicit MetadataPipeline(Options options);
    ~MetadataPipeline();
    MetadataPipeline(const MetadataPipeline&) = delete;
    MetadataPipeline& operator=(const MetadataPipeline&) = delete;

    static MetadataPipeline& shared();

    // The same photos in the same order, `captureDate` replaced wherever the file records a
    // date and its `captureDateOrigin` then `exif`; no other field changes. JPEGs are read first, so a RAW file whose JPEG partner
    // gave a date is never opened. Photos of format `other` are left alone. Cancelling through
    // `cancellation` (or cancelling the future itself, which drops the result) stops between
    // files; the former returns the list as far as it was enriched.
    QFuture<QList<PhotoItem>> enrich(QList<PhotoItem> photos, MetadataCancellation cancellation = {});

    // Folder of `relativePath` with every "/JPEG" and "/RAW" removed (any case), lower-cased,
    // "/", then the lower-cased file name without its extension:
    // Shoot/JPEG/IMG_0042.JPG and Shoot/RAW/IMG_0042.CR3 both give "shoot/img_0042".
    static QString pairingKey(const PhotoItem& photo);

private:
    std::optional<QDateTime> dateFor(const PhotoItem& photo, const std::function<bool()>& isCanceled, bool* stopped);

    Options options_;
    QThreadPool actor_;
    // Only found dates are kept; a file without one is read again next time.
    QHash<FileFingerprint, QDateTime> cache_;
};

} // namespace kestrava
