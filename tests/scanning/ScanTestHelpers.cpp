#include "ScanTestHelpers.h"

namespace kestrava::test {

QStringList relativePaths(const QList<PhotoItem>& items)
{
    QStringList paths;
    for (const PhotoItem& item : items)
        paths.append(item.relativePath);
    return paths;
}

} // namespace kestrava::test
