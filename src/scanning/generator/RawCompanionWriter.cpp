#include "SeededRandom.h"
#include "ShootImages.h"

namespace kestrava::shootgen {

QByteArray rawCompanionBytes(const RawCompanionSpec& companion)
{
    // Not raw data: readers must treat these as undecodable. The header makes a stray copy
    // recognisable; the seeded tail gives files of different sizes, as real RAWs have.
    QByteArray bytes = QStringLiteral("KESTRAVA SYNTHETIC RAW PLACEHOLDER\nformat=%1\nmake=%2\nmodel=%3\ncaptured=%4\n")
                           .arg(companion.extension.toUpper(), companion.tags.make, companion.tags.model,
                                companion.tags.captureDate.toString(Qt::ISODate))
                           .toUtf8();
    SeededRandom random(companion.seed);
    const int tail = random.between(4096, 16384);
    bytes.reserve(bytes.size() + tail);
    for (int i = 0; i < tail; ++i)
        bytes.append(char(random.next() & 0xFF));
    return bytes;
}

} // namespace kestrava::shootgen
