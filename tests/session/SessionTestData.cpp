#include "SessionTestData.h"

namespace kestrava::test {

using namespace Qt::StringLiterals;

SortSession makeSession(int photoCount, const QUuid& id)
{
    SortSession session;
    session.id = id;
    session.createdAt = at(8);
    session.updatedAt = at(8);
    session.sourceFolder = FileUrl::fromLocalPath(u"/Fotos/Reise"_s);
    session.runFolderName = u"Kestrava-Ergebnis"_s;
    session.photos.reserve(photoCount);
    for (int i = 0; i < photoCount; ++i) {
        PhotoItem photo;
        const QString name = u"IMG_%1.%2"_s.arg(i, 5, 10, QLatin1Char('0')).arg(i % 2 ? u"CR3"_s : u"JPG"_s);
        photo.sourceURL = FileUrl::fromLocalPath(u"/Fotos/Reise/Tag %1/"_s.arg(i / 500) + name);
        photo.relativePath = u"Tag %1/"_s.arg(i / 500) + name;
        photo.formatGroup = i % 2 ? PhotoFormatGroup::raw : PhotoFormatGroup::jpeg;
        photo.captureDate = at(7).addSecs(i);
        photo.modificationDate = at(7).addSecs(i + 1);
        photo.captureDateOrigin = CaptureDateOrigin::exif;
        photo.fileSize = 24'000'000 + i;
        session.photos.append(photo);
    }
    return session;
}

SortSession makeFullSession()
{
    SortSession session = makeSession(3);
    session.status = SortSessionStatus::paused;
    session.updatedAt = at(10, 15, 30);
    session.destinationBaseFolder = FileUrl::fromLocalPath(u"/Ziel"_s);
    session.destinationFolder = FileUrl::fromLocalPath(u"/Ziel/Kestrava – Hochzeit"_s);
    session.runFolderName = u"Kestrava – Hochzeit"_s;
    session.photos[0].decision = PhotoDecision::del;
    session.photos[1].decision = PhotoDecision::maybe;
    session.photos[2].category = u"Porträt"_s;
    session.passThroughPhotos = makeSession(1).photos;
    session.passThroughPhotos[0].sourceURL = FileUrl::fromLocalPath(u"/Fotos/Reise/Video, \"lang\".jpg"_s);
    session.ignoredPhotoCount = 12;
    session.skippedEntryCount = 3;
    session.unsupportedFileCount = 4;
    session.unsupportedFileExamples = {u"IMG_0001.CRW"_s, u"Notiz \"neu\".txt"_s};
    session.selectedReviewChoice = FormatReviewChoice::both;
    session.pairingWasTransferred = true;
    session.pairingChoiceResolved = false;
    session.currentIndex = 2;
    session.eventName = u"Hochzeit"_s;
    session.groupByDate = false;
    session.operationMode = SortOperationMode::organizeAndTrash;
    session.requiresModeSelection = true;
    session.verificationMode = VerificationMode::sha256;
    const QString source = session.photos[0].sourceURL.path();
    session.executionRecords.insert(source, ExecutionRecord{source, u"/Ziel/x/IMG.JPG"_s, ExecutionActionStatus::failed,
                                                            7'000'000'000LL, u"Kein Speicherplatz"_s});
    TrashPreparation trash;
    trash.sessionID = session.id;
    trash.stagingRoot = FileUrl::fromLocalPath(u"/Ziel/Sicherheitsablage/"_s + session.id.toString(QUuid::WithoutBraces).toUpper());
    TrashEntry entry;
    entry.id = QUuid::fromString(u"1B4E28BA-2FA1-11D2-883F-0016D3CCA427"_s);
    entry.groupID = QUuid::fromString(u"6FA459EA-EE8A-3CA4-894E-DB77E160355E"_s);
    entry.sourceURL = session.photos.last().sourceURL;
    entry.stagingURL = FileUrl::fromLocalPath(trash.stagingRoot.path() + u"/a.CR3"_s);
    entry.sourceIdentity.path = entry.sourceURL.path();
    entry.sourceIdentity.size = 1;
    entry.sourceIdentity.linkCount = 1;
    entry.state = TrashTransactionState::stagedVerified;
    trash.entries = {entry};
    trash.sourceVolumes = {SourceVolumeSummary{u"uuid"_s, u"Fotos"_s, u"ext4"_s, true, false}};
    session.trashPreparation = trash;
    session.lastEventSequence = 4711;
    return session;
}

} // namespace kestrava::test
