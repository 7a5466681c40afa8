#include "DesktopIntegration.h"

#include "FileManagerReveal.h"
#include "scanning/MetadataPipeline.h"

#include <QUrl>

namespace kestrava {

void FileManagerDesktop::reveal(const FileUrl& item)
{
    if (!item.isEmpty())
        FileManagerReveal::reveal(item.path(), &replies_, failed_, opener_);
}

void FileManagerDesktop::open(const FileUrl& file)
{
    if (!file.isEmpty())
        FileManagerReveal::open(file.path(), failed_, opener_);
}

QFuture<QList<PhotoItem>> PipelineMetadataEnrichment::enrich(QList<PhotoItem> photos)
{
    // Cancelling the returned future stops the pipeline between two files, as the view model
    // expects of a superseded enrichment.
    return MetadataPipeline::shared().enrich(std::move(photos));
}

std::shared_ptr<FileManagerDesktop> installDesktopServices(WorkflowServices& services)
{
    auto desktop = std::make_shared<FileManagerDesktop>();
    services.desktop = desktop;
    services.metadata = std::make_shared<PipelineMetadataEnrichment>();
    return desktop;
}

} // namespace kestrava
