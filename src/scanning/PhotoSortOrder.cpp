#include "PhotoInventoryScanner.h"
#include "model/Text.h"

#include <QtConcurrent/QtConcurrentRun>
#include <algorithm>
#include <numeric>
#include <vector>

namespace kestrava::PhotoInventoryScanner {

namespace {

// Below this a second thread costs more than it saves.
constexpr qsizetype parallelThreshold = 4096;

// One half of the list: its collation keys and its indices in sorted order.
struct SortedRun {
    qsizetype begin = 0;
    std::vector<QCollatorSortKey> keys;
    std::vector<qsizetype> order;

    const QCollatorSortKey& key(qsizetype index) const { return keys[std::size_t(index - begin)]; }
};

// Names equal to the collator (IMG_1.JPG, img_1.jpg) fall back to their code units, so the
// result never depends on the order in which the file system listed the entries.
template <class KeyOf>
bool precedes(const QList<PhotoItem>& items, const KeyOf& keyOf, qsizetype a, qsizetype b)
{
    if (const int c = keyOf(a).compare(keyOf(b)))
        return c < 0;
    if (const int c = items[a].relativePath.compare(items[b].relativePath))
        return c < 0;
    return a < b;
}

SortedRun sortRun(const QList<PhotoItem>& items, qsizetype begin, qsizetype end)
{
    SortedRun run;
    run.begin = begin;
    run.keys.reserve(std::size_t(end - begin));
    for (qsizetype i = begin; i < end; ++i)
        run.keys.push_back(text::naturalSortKey(items[i].relativePath));
    run.order.resize(std::size_t(end - begin));
    std::iota(run.order.begin(), run.order.end(), begin);
    const auto keyOf = [&run](qsizetype i) -> const QCollatorSortKey& { return run.key(i); };
    std::sort(run.order.begin(), run.order.end(), [&](qsizetype a, qsizetype b) { return precedes(items, keyOf, a, b); });
    return run;
}

std::vector<qsizetype> sortedOrder(const QList<PhotoItem>& items)
{
    const qsizetype count = items.size();
    if (count < parallelThreshold)
        return sortRun(items, 0, count).order;

    // Building a collation key costs about as much as one comparison, so one key per item
    // beats a comparator call per comparison by the log of the count. Each half is keyed and
    // sorted on its own core (the collator is per thread), then the two runs are merged.
    const qsizetype middle = count / 2;
    QFuture<SortedRun> secondFuture = QtConcurrent::run([&items, middle, count] { return sortRun(items, middle, count); });
    const SortedRun first = sortRun(items, 0, middle);
    const SortedRun second = secondFuture.result();
    const auto keyOf = [&](qsizetype i) -> const QCollatorSortKey& { return i < middle ? first.key(i) : second.key(i); };
    std::vector<qsizetype> order(static_cast<std::size_t>(count));
    std::merge(first.order.begin(), first.order.end(), second.order.begin(), second.order.end(), order.begin(),
               [&](qsizetype a, qsizetype b) { return precedes(items, keyOf, a, b); });
    return order;
}

} // namespace

void sortByRelativePath(QList<PhotoItem>& items)
{
    if (items.size() < 2)
        return;
    const std::vector<qsizetype> order = sortedOrder(items);
    QList<PhotoItem> sorted;
    sorted.reserve(items.size());
    for (const qsizetype index : order)
        sorted.append(std::move(items[index]));
    items = std::move(sorted);
}

} // namespace kestrava::PhotoInventoryScanner
