#pragma once

// What the desktop application plugs into the workflow beyond its defaults: the file manager
// for "show in folder" and "open", and the capture-date reader of the metadata pipeline. The
// command line and the workflow tests run without them.

#include "workflow/WorkflowServices.h"

#include <QObject>
#include <QUrl>

#include <functional>
#include <memory>

namespace kestrava {

// Reveals through org.freedesktop.FileManager1 (falling back to opening the folder) and opens
// files with the desktop's default application; when nothing on the desktop answers, the
// failure handler gets the message with the path. Create and call it on the GUI thread: the
// D-Bus replies are handled there.
class FileManagerDesktop final : public DesktopServices {
public:
    void reveal(const FileUrl& item) override;
    void open(const FileUrl& file) override;
    void setFailureHandler(std::function<void(const QString& message)> handler) { failed_ = std::move(handler); }
    // Replaces QDesktopServices::openUrl, for tests.
    void setOpener(std::function<bool(const QUrl&)> opener) { opener_ = std::move(opener); }

private:
    std::function<void(const QString&)> failed_;
    std::function<bool(const QUrl&)> opener_;
    // Receives the asynchronous reply of the file manager; lives as long as this object.
    QObject replies_;
};

// The shared metadata pipeline: Exiv2 capture dates, read at the lowest decode priority.
class PipelineMetadataEnrichment final : public MetadataEnriching {
public:
    QFuture<QList<PhotoItem>> enrich(QList<PhotoItem> photos) override;
};

// Sets `desktop` and `metadata` of the application's services; returns the desktop.
std::shared_ptr<FileManagerDesktop> installDesktopServices(WorkflowServices& services);

} // namespace kestrava
