#pragma once

#include "model/EnumNames.h"
#include "model/KestravaError.h"

namespace kestrava {

// Every refusal of the trash transaction. `text` is the file name the message names, except
// for insufficientStorage (the storage message itself), journalUnavailable (the reason) and
// outsideSession (the whole refusal, naming the file and why it is not one of the session's photos).
class TrashTransactionError : public ErrorBase<TrashTransactionError> {
public:
    enum class Kind {
        fileUnavailable, unsupportedItem, multipleHardLinks, sourceChanged, stagingChanged,
        stagingCollision, insufficientStorage, unsupportedVolume, journalUnavailable,
        transactionNeedsReview, receiptInvalid, journalCorrupt, transactionAlreadyRunning, outsideSession
    };

    TrashTransactionError(Kind kind, QString text = {}) : kind_(kind), text_(std::move(text)) {}

    Kind kind() const { return kind_; }
    const QString& text() const { return text_; }
    QString description() const override;

    friend bool operator==(const TrashTransactionError& a, const TrashTransactionError& b)
    {
        return a.kind_ == b.kind_ && a.text_ == b.text_;
    }

private:
    Kind kind_;
    QString text_;
};

template <>
struct EnumNames<TrashTransactionError::Kind> {
    using K = TrashTransactionError::Kind;
    static constexpr std::array<std::pair<K, std::string_view>, 14> table{{
        {K::fileUnavailable, "fileUnavailable"}, {K::unsupportedItem, "unsupportedItem"},
        {K::multipleHardLinks, "multipleHardLinks"}, {K::sourceChanged, "sourceChanged"},
        {K::stagingChanged, "stagingChanged"}, {K::stagingCollision, "stagingCollision"},
        {K::insufficientStorage, "insufficientStorage"}, {K::unsupportedVolume, "unsupportedVolume"},
        {K::journalUnavailable, "journalUnavailable"}, {K::transactionNeedsReview, "transactionNeedsReview"},
        {K::receiptInvalid, "receiptInvalid"}, {K::journalCorrupt, "journalCorrupt"},
        {K::transactionAlreadyRunning, "transactionAlreadyRunning"}, {K::outsideSession, "outsideSession"}}};
};

} // namespace kestrava
