#include "DesktopIntegration.h"

#include "FileManagerReveal.h"
#include "scanning/MetadataPipeline.h"

#include <QDesktopServices>
#include <QUrl>

namespace kestrava {

void FileManagerDesktop::reveal(const FileUrl& item)
{
    if (!item.isEmpty())
        FileManagerReveal::reveal(item.path(), &replies_);
}

void FileManagerDesktop::open(const FileUrl& file)
{
    if (!file.isEmpty())
        QDesktopServices::openUrl(QUrl::fromLocalFile(file.path()));
}

QFuture<QList<PhotoItem>> PipelineMetadataEnrichment::enrich(QList<PhotoItem> photos)
{
    // Cancelling the returned future stops the pipeline between two files, as the view model
    // expects of a superseded enrichment.
    return MetadataPipeline::shared().enrich(std::move(photos));
}

void installDesktopServices(WorkflowServices& services)
{
    services.desktop = std::make_shared<FileManagerDesktop>();
    services.metadata = std::make_shared<PipelineMetadataEnrichment>();
}

} // namespace kestrava
