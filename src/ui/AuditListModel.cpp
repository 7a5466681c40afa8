#include "AuditListModel.h"
#include "workflow/ReviewKeyFilter.h"

#include "ThumbnailProvider.h"
#include "workflow/WindowWording.h"
#include "model/Text.h"
#include "model/Wording.h"
#include "workflow/KestravaViewModel.h"

#include <algorithm>

namespace kestrava {

using namespace Qt::StringLiterals;

namespace {

// Beyond this many removed and inserted rows a reset is cheaper for the view than the
// individual notifications.
constexpr qsizetype resetThreshold = 2000;

// The decision a filter narrows to; none for the filters that are not about one decision.
std::optional<PhotoDecision> decisionShownBy(AuditFilter::Value filter)
{
    switch (filter) {
    case AuditFilter::Keep: return PhotoDecision::keep;
    case AuditFilter::Maybe: return PhotoDecision::maybe;
    case AuditFilter::Delete: return PhotoDecision::del;
    case AuditFilter::All:
    case AuditFilter::Open:
    case AuditFilter::Series: break;
    }
    return std::nullopt;
}

} // namespace

AuditListModel::AuditListModel(QObject* parent) : QAbstractListModel(parent) {}

int AuditListModel::rowCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : int(visible_.size());
}

QVariant AuditListModel::data(const QModelIndex& index, int role) const
{
    if (!index.isValid() || index.row() >= visible_.size())
        return {};
    const Row& row = all_[visible_[index.row()]];
    switch (role) {
    case GroupIdRole: return row.groupId;
    case Qt::DisplayRole:
    case FileNameRole: return row.fileName;
    case FormatTextRole: return row.formatText;
    case FileCountTextRole: return row.fileCountText;
    case SizeTextRole: return row.sizeText;
    case DecisionRole: return choiceNumber(row.decision);
    case ThumbnailUrlRole: return row.thumbnailUrl;
    case IsSavingRole: return !savingGroupId_.isEmpty() && row.groupId == savingGroupId_;
    case SeriesTextRole: return seriesNote(visible_[index.row()]);
    case IsSharpestRole: return viewModel_ && viewModel_->series()->isSharpest(visible_[index.row()]);
    default: return {};
    }
}

QHash<int, QByteArray> AuditListModel::roleNames() const
{
    return {{GroupIdRole, "groupId"},           {FileNameRole, "fileName"},   {FormatTextRole, "formatText"},
            {FileCountTextRole, "fileCountText"}, {SizeTextRole, "sizeText"}, {DecisionRole, "decision"},
            {ThumbnailUrlRole, "thumbnailUrl"},   {IsSavingRole, "isSaving"},
            {SeriesTextRole, "seriesText"},       {IsSharpestRole, "isSharpest"}};
}

QObject* AuditListModel::viewModelObject() const
{
    return viewModel_;
}

void AuditListModel::setViewModelObject(QObject* viewModel)
{
    setViewModel(qobject_cast<KestravaViewModel*>(viewModel));
}

void AuditListModel::setViewModel(KestravaViewModel* viewModel)
{
    if (!viewModel_.reset(viewModel))
        return;
    viewModel_.follow(viewModel_.review(), &ReviewStage::reviewStateChanged, this, &AuditListModel::refresh);
    viewModel_.follow(viewModel_.review(), &ReviewStage::isCommittingDecisionChanged, this, &AuditListModel::onCommittingChanged);
    if (viewModel) {
        viewModel_.follow(viewModel->execution(), &ExecutionStage::isApplyingChanged, this,
                          &AuditListModel::controlsDisabledChanged);
        viewModel_.follow(viewModel->sessionStage(), &SessionStage::lastSavedAtChanged, this,
                          &AuditListModel::saveStateTextChanged);
        viewModel_.follow(viewModel->series(), &SeriesStage::changed, this, [this] {
            if (!visible_.isEmpty())
                emit dataChanged(index(0), index(int(visible_.size()) - 1), {SeriesTextRole, IsSharpestRole});
        });
        // Dates read late or another gap: the bursts themselves moved, so does their filter.
        viewModel_.follow(viewModel->series(), &SeriesStage::seriesChanged, this, [this] {
            if (filter_ == AuditFilter::Series)
                applyVisible(computeVisible());
        });
    }
    beginResetModel();
    all_.clear();
    visible_.clear();
    endResetModel();
    refresh();
    emit viewModelChanged();
    emit controlsDisabledChanged();
    emit saveStateTextChanged();
}

QList<AuditFilterOption> AuditListModel::filterOptions()
{
    QList<AuditFilterOption> options{{AuditFilter::All, u"all"_s, u"Alle"_s}, {AuditFilter::Open, u"open"_s, u"Offen"_s}};
    for (AuditFilter::Value filter : {AuditFilter::Keep, AuditFilter::Maybe, AuditFilter::Delete}) {
        const PhotoDecision decision = *decisionShownBy(filter);
        options.append({filter, rawValue(decision), decisionLabel(decision)});
    }
    // Bursts stay in review order, so each series reads as one block.
    options.append({AuditFilter::Series, u"series"_s, u"Serien"_s});
    return options;
}

void AuditListModel::setFilter(AuditFilter::Value filter)
{
    if (filter_ == filter)
        return;
    filter_ = filter;
    applyVisible(computeVisible());
    emit filterChanged();
}

void AuditListModel::setSearchText(const QString& text)
{
    if (searchText_ == text)
        return;
    searchText_ = text;
    applyVisible(computeVisible());
    emit searchTextChanged();
}

QString AuditListModel::summaryText() const
{
    return WindowWording::shotsAndFilesText(all_.size(), totalFiles_);
}

bool AuditListModel::controlsDisabled() const
{
    return !viewModel_ || viewModel_->review()->isCommittingDecision() || viewModel_->execution()->isApplying();
}

QString AuditListModel::saveStateText() const
{
    if (!viewModel_)
        return {};
    return WindowWording::auditSaveState(viewModel_->review()->isCommittingDecision(), viewModel_->sessionStage()->savedStatusText());
}

void AuditListModel::decide(int row, PhotoDecision decision)
{
    if (!viewModel_ || row < 0 || row >= visible_.size() || controlsDisabled())
        return;
    const QString groupId = all_[visible_[row]].groupId;
    savingGroupId_ = groupId;
    viewModel_->review()->reclassify(decision, groupId);
    if (!viewModel_->review()->isCommittingDecision()) {
        // Refused or finished at once (no journal): nothing is being saved.
        savingGroupId_.clear();
    } else {
        const QModelIndex at = index(row);
        emit dataChanged(at, at, {IsSavingRole});
    }
}

void AuditListModel::showLarge(int row)
{
    // Refused while a decision is being journaled: the main window stays where it was.
    if (!viewModel_ || row < 0 || row >= visible_.size() || viewModel_->review()->isCommittingDecision())
        return;
    viewModel_->review()->showGroupInMainReview(all_[visible_[row]].groupId);
    emit mainReviewShown();
}

bool AuditListModel::pressKey(int row, int key)
{
    const auto action = ReviewKeyFilter::auditActionFor(key);
    if (!action || row < 0)
        return false;
    switch (*action) {
    case ReviewKeyFilter::AuditAction::keep:
        decide(row, PhotoDecision::keep);
        break;
    case ReviewKeyFilter::AuditAction::maybe:
        decide(row, PhotoDecision::maybe);
        break;
    case ReviewKeyFilter::AuditAction::del:
        decide(row, PhotoDecision::del);
        break;
    case ReviewKeyFilter::AuditAction::showLarge:
        showLarge(row);
        break;
    }
    return true;
}

QString AuditListModel::groupIdAt(int row) const
{
    return row >= 0 && row < visible_.size() ? all_[visible_[row]].groupId : QString();
}

void AuditListModel::onCommittingChanged()
{
    if (viewModel_ && !viewModel_->review()->isCommittingDecision() && !savingGroupId_.isEmpty()) {
        const QString finished = std::exchange(savingGroupId_, QString());
        for (qsizetype i = 0; i < all_.size(); ++i) {
            if (all_[i].groupId == finished) {
                if (const int position = visiblePosition(int(i)); position >= 0)
                    emit dataChanged(index(position), index(position), {IsSavingRole});
                break;
            }
        }
    }
    emit controlsDisabledChanged();
    emit saveStateTextChanged();
}

void AuditListModel::refresh()
{
    if (!viewModel_) {
        return;
    }
    const QList<ReviewGroup> groups = viewModel_->review()->effectiveReviewGroups();
    bool sameGroups = groups.size() == all_.size();
    for (qsizetype i = 0; sameGroups && i < groups.size(); ++i)
        sameGroups = groups[i].id == all_[i].groupId;
    if (sameGroups)
        refreshDecisions();
    else
        rebuildAll();
}

void AuditListModel::rebuildAll()
{
    const QList<ReviewGroup> groups = viewModel_->review()->effectiveReviewGroups();
    const QList<PhotoItem>& photos = viewModel_->loading()->photos();
    QHash<QString, qsizetype> photoIndex;
    photoIndex.reserve(photos.size());
    for (qsizetype i = 0; i < photos.size(); ++i)
        photoIndex.insert(photos[i].sourceURL.path(), i);

    QList<Row> rows;
    rows.reserve(groups.size());
    qsizetype files = 0;
    for (const ReviewGroup& group : groups) {
        Row row;
        row.groupId = group.id;
        QList<PhotoFormatGroup> formats;
        qint64 bytes = 0;
        for (const FileUrl& member : group.memberURLs) {
            row.memberNames.append(member.fileName());
            if (const auto it = photoIndex.constFind(member.path()); it != photoIndex.cend()) {
                formats.append(photos[*it].formatGroup);
                bytes += photos[*it].fileSize;
                if (!row.decision)
                    row.decision = photos[*it].decision;
            }
        }
        const auto first = viewModel_->review()->photo(group);
        row.fileName = first ? first->sourceURL.fileName() : group.previewURL.fileName();
        row.formatText = Wording::groupFormatLabel(formats);
        row.fileCountText = WindowWording::fileCountText(group.memberURLs.size());
        row.sizeText = text::formatByteCount(bytes);
        row.thumbnailUrl = ThumbnailProvider::urlFor(group.previewURL.path());
        row.decision = viewModel_->review()->decision(group);
        files += group.memberURLs.size();
        rows.append(std::move(row));
    }
    beginResetModel();
    all_ = std::move(rows);
    totalFiles_ = files;
    visible_ = computeVisible();
    endResetModel();
    emit countChanged();
    emit summaryChanged();
}

void AuditListModel::refreshDecisions()
{
    const QList<ReviewGroup> groups = viewModel_->review()->effectiveReviewGroups();
    QList<int> changed;
    for (qsizetype i = 0; i < groups.size(); ++i) {
        const auto decision = viewModel_->review()->decision(groups[i]);
        if (decision != all_[i].decision) {
            all_[i].decision = decision;
            changed.append(int(i));
        }
    }
    if (changed.isEmpty())
        return;
    for (int i : changed)
        if (const int position = visiblePosition(i); position >= 0)
            emit dataChanged(index(position), index(position), {DecisionRole});
    // Under a decision filter a changed row may now belong in the list or out of it.
    if (filter_ != AuditFilter::All)
        applyVisible(computeVisible());
}

QString AuditListModel::seriesNote(int groupIndex) const
{
    if (!viewModel_)
        return {};
    const SeriesStage& series = *viewModel_->series();
    const QString position = series.positionTextFor(groupIndex);
    if (position.isEmpty() || !series.isSharpest(groupIndex))
        return position;
    return position + u" · "_s + SeriesStage::sharpestWording();
}

bool AuditListModel::accepts(int allIndex) const
{
    const Row& row = all_[allIndex];
    if (filter_ == AuditFilter::Series) {
        if (seriesNote(allIndex).isEmpty())
            return false;
    } else if (filter_ == AuditFilter::Open) {
        if (row.decision)
            return false;
    } else if (const auto shown = decisionShownBy(filter_); shown && row.decision != shown) {
        return false;
    }
    return WindowWording::matchesSearch(row.memberNames, searchText_);
}

QList<int> AuditListModel::computeVisible() const
{
    QList<int> result;
    result.reserve(all_.size());
    for (qsizetype i = 0; i < all_.size(); ++i)
        if (accepts(int(i)))
            result.append(int(i));
    return result;
}

int AuditListModel::visiblePosition(int allIndex) const
{
    const auto it = std::lower_bound(visible_.cbegin(), visible_.cend(), allIndex);
    return it != visible_.cend() && *it == allIndex ? int(it - visible_.cbegin()) : -1;
}

void AuditListModel::applyVisible(QList<int> next)
{
    if (next == visible_)
        return;
    // Both lists are ascending subsequences of all_; walk them together and turn each run of
    // differences into one removal or insertion at the current position.
    qsizetype differences = 0;
    {
        qsizetype i = 0, j = 0;
        while (i < visible_.size() || j < next.size()) {
            if (i < visible_.size() && j < next.size() && visible_[i] == next[j]) {
                ++i, ++j;
            } else if (j >= next.size() || (i < visible_.size() && visible_[i] < next[j])) {
                ++i, ++differences;
            } else {
                ++j, ++differences;
            }
        }
    }
    if (differences > resetThreshold) {
        beginResetModel();
        visible_ = std::move(next);
        endResetModel();
        emit countChanged();
        return;
    }
    qsizetype j = 0;
    int position = 0;
    while (position < visible_.size() || j < next.size()) {
        if (position < visible_.size() && j < next.size() && visible_[position] == next[j]) {
            ++position, ++j;
            continue;
        }
        if (j >= next.size() || (position < visible_.size() && visible_[position] < next[j])) {
            int last = position;
            while (last + 1 < visible_.size() && (j >= next.size() || visible_[last + 1] < next[j]))
                ++last;
            beginRemoveRows({}, position, last);
            visible_.remove(position, last - position + 1);
            endRemoveRows();
        } else {
            qsizetype end = j;
            while (end + 1 < next.size() && (position >= visible_.size() || next[end + 1] < visible_[position]))
                ++end;
            const int count = int(end - j + 1);
            beginInsertRows({}, position, position + count - 1);
            for (int k = 0; k < count; ++k)
                visible_.insert(position + k, next[j + k]);
            endInsertRows();
            position += count;
            j = end + 1;
        }
    }
    emit countChanged();
}

} // namespace kestrava
