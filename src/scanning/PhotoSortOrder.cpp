#include "PhotoInventoryScanner.h"
#include "model/Text.h"

#include <QtConcurrent/QtConcurrentRun>
#include <algorithm>
#include <numeric>
#include <vector>

namespace kestrava::PhotoInventoryScanner {

namespace {

// Below this a second thread costs more than the keys it computes.
constexpr qsizetype parallelThreshold = 4096;

std::vector<QCollatorSortKey> keysFor(const QList<PhotoItem>& items, qsizetype begin, qsizetype end)
{
    std::vector<QCollatorSortKey> keys;
    keys.reserve(std::size_t(end - begin));
    for (qsizetype i = begin; i < end; ++i)
        keys.push_back(text::naturalSortKey(items[i].relativePath));
    return keys;
}

} // namespace

void sortByRelativePath(QList<PhotoItem>& items)
{
    const qsizetype count = items.size();
    if (count < 2)
        return;

    // Building a collation key costs about as much as one comparison, so one key per item
    // beats a comparator call per comparison by the log of the count. The keys of the second
    // half are built on another core (the collator is per thread).
    std::vector<QCollatorSortKey> keys;
    if (count >= parallelThreshold) {
        const qsizetype middle = count / 2;
        QFuture<std::vector<QCollatorSortKey>> secondHalf =
            QtConcurrent::run([&items, middle, count] { return keysFor(items, middle, count); });
        keys = keysFor(items, 0, middle);
        std::vector<QCollatorSortKey> rest = secondHalf.result();
        keys.insert(keys.end(), std::make_move_iterator(rest.begin()), std::make_move_iterator(rest.end()));
    } else {
        keys = keysFor(items, 0, count);
    }

    std::vector<qsizetype> order(static_cast<std::size_t>(count));
    std::iota(order.begin(), order.end(), qsizetype(0));
    // Names equal to the collator (IMG_1.JPG, img_1.jpg) fall back to their code units, so the
    // result never depends on the order in which the file system listed the entries.
    std::sort(order.begin(), order.end(), [&](qsizetype a, qsizetype b) {
        if (const int c = keys[std::size_t(a)].compare(keys[std::size_t(b)]))
            return c < 0;
        if (const int c = items[a].relativePath.compare(items[b].relativePath))
            return c < 0;
        return a < b;
    });

    QList<PhotoItem> sorted;
    sorted.reserve(count);
    for (const qsizetype index : order)
        sorted.append(std::move(items[index]));
    items = std::move(sorted);
}

} // namespace kestrava::PhotoInventoryScanner
