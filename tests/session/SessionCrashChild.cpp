// Test child for the crash test: resumes the one session in the store folder given as the
// first argument and journals decisions without end, writing "ack <sequence>\n" to standard
// output after each append has returned. Every 25th event it also writes a snapshot. The
// event with sequence s sets photo (s - 1) % photoCount to expectedDecision(s).

#include "session/SessionStore.h"

#include <cstdio>
#include <unistd.h>

using namespace kestrava;

namespace {

PhotoDecision expectedDecision(qint64 sequence, qsizetype photoCount)
{
    static constexpr PhotoDecision cycle[] = {PhotoDecision::keep, PhotoDecision::maybe, PhotoDecision::del};
    return cycle[((sequence - 1) / photoCount) % 3];
}

void acknowledge(qint64 sequence)
{
    char line[32];
    const int length = std::snprintf(line, sizeof line, "ack %lld\n", static_cast<long long>(sequence));
    if (::write(STDOUT_FILENO, line, size_t(length)) != length)
        _exit(3);
}

} // namespace

int main(int argc, char** argv)
{
    if (argc != 2)
        return 2;
    SessionStore store(QString::fromLocal8Bit(argv[1]));
    std::optional<SortSession> session = store.loadLatestIncomplete().result();
    if (!session)
        return 4;
    const qsizetype photoCount = session->photos.size();
    for (;;) {
        const qint64 next = session->lastEventSequence + 1;
        const qsizetype photo = (next - 1) % photoCount;
        const PhotoDecision decision = expectedDecision(next, photoCount);
        const qint64 sequence = store
                                    .append(SessionEventKind::decision, {session->photos[photo].sourceURL.path()}, decision,
                                            std::nullopt, int(photo), session->lastEventSequence, session->id)
                                    .result();
        if (sequence != next)
            return 5;
        session->photos[photo].decision = decision;
        session->lastEventSequence = sequence;
        session->updatedAt = QDateTime::currentDateTimeUtc();
        acknowledge(sequence);
        if (sequence % 25 == 0)
            store.saveSnapshot(*session).waitForFinished();
    }
}
