#pragma once

// The rows of the "Auswahl prüfen" window: every effective review group in review order,
// narrowed by the decision filter and the file-name search.
//
// Kept incremental so that 20,000 rows stay smooth: a decision changes one row's data
// (dataChanged), a filter or search change removes and inserts only the rows that differ
// (a reset only when very many rows change), and the full rebuild happens only when the
// groups themselves change.

#include "ViewModelLink.h"

#include "model/PhotoModel.h"

#include "workflow/KestravaViewModel.h"

#include <QAbstractListModel>
#include <QtQml/qqmlregistration.h>

namespace kestrava {

// Which rows the list shows. QML sets `filter` to one of these, so a misspelt filter is an
// error the engine reports, not a list that silently stays empty.
namespace AuditFilter {
Q_NAMESPACE
QML_NAMED_ELEMENT(AuditFilter)

enum Value {
    All,
    Open, // undecided
    Keep,
    Maybe,
    Delete,
    Series, // groups in a burst
};
Q_ENUM_NS(Value)

} // namespace AuditFilter

// One choice of the filter: its value, a stable name for finding its control, its German label.
struct AuditFilterOption {
    Q_GADGET
    QML_VALUE_TYPE(auditFilterOption)
    Q_PROPERTY(int value MEMBER value)
    Q_PROPERTY(QString name MEMBER name)
    Q_PROPERTY(QString label MEMBER label)

public:
    int value = AuditFilter::All;
    QString name;
    QString label;
    friend bool operator==(const AuditFilterOption&, const AuditFilterOption&) = default;
};

class AuditListModel : public QAbstractListModel {
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(QObject* viewModel READ viewModelObject WRITE setViewModelObject NOTIFY viewModelChanged)
    Q_PROPERTY(kestrava::AuditFilter::Value filter READ filter WRITE setFilter NOTIFY filterChanged)
    // The filter's choices in order.
    Q_PROPERTY(QList<kestrava::AuditFilterOption> filterOptions READ filterOptions CONSTANT)
    Q_PROPERTY(QString searchText READ searchText WRITE setSearchText NOTIFY searchTextChanged)
    Q_PROPERTY(int count READ rowCountValue NOTIFY countChanged)
    Q_PROPERTY(QString summaryText READ summaryText NOTIFY summaryChanged)
    Q_PROPERTY(bool controlsDisabled READ controlsDisabled NOTIFY controlsDisabledChanged)
    Q_PROPERTY(QString saveStateText READ saveStateText NOTIFY saveStateTextChanged)

public:
    enum Role {
        GroupIdRole = Qt::UserRole + 1,
        FileNameRole,
        FormatTextRole,
        FileCountTextRole,
        SizeTextRole,
        DecisionRole,
        ThumbnailUrlRole,
        IsSavingRole,
        // "Serie 2 von 7", empty outside a series; whether the row is its series' sharpest.
        SeriesTextRole,
        IsSharpestRole,
    };
    Q_ENUM(Role)

    explicit AuditListModel(QObject* parent = nullptr);

    int rowCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role) const override;
    QHash<int, QByteArray> roleNames() const override;

    KestravaViewModel* viewModel() const { return viewModel_; }
    void setViewModel(KestravaViewModel* viewModel);
    QObject* viewModelObject() const;
    void setViewModelObject(QObject* viewModel);
    AuditFilter::Value filter() const { return filter_; }
    void setFilter(AuditFilter::Value filter);
    static QList<AuditFilterOption> filterOptions();
    const QString& searchText() const { return searchText_; }
    void setSearchText(const QString& text);
    int rowCountValue() const { return int(visible_.size()); }
    QString summaryText() const;
    bool controlsDisabled() const;
    QString saveStateText() const;

    // Row actions: a decision goes through the view model and is journaled there; while a
    // change is being journaled further decisions are ignored.
    Q_INVOKABLE void decide(int row, kestrava::Decision::Value decision) { decide(row, Decision::toModel(decision)); }
    void decide(int row, PhotoDecision decision);
    Q_INVOKABLE void showLarge(int row);
    // A key pressed in the list with `row` selected, by the window's key table; true when the
    // key was one of the list's own (it is consumed then, even if the row refuses it).
    Q_INVOKABLE bool pressKey(int row, int key);
    Q_INVOKABLE QString groupIdAt(int row) const;

signals:
    void viewModelChanged();
    void filterChanged();
    void searchTextChanged();
    void countChanged();
    void summaryChanged();
    void controlsDisabledChanged();
    void saveStateTextChanged();
    // The main window now shows the row asked for: it must come to the front to be seen.
    void mainReviewShown();

private:
    struct Row {
        QString groupId;
        QString fileName;
        QStringList memberNames;
        QString formatText;
        QString fileCountText;
        QString sizeText;
        QString thumbnailUrl;
        std::optional<PhotoDecision> decision;
    };

    void refresh();
    void rebuildAll();
    void refreshDecisions();
    void applyVisible(QList<int> next);
    bool accepts(int allIndex) const;
    // "Serie 2 von 7", with the sharpest mark where it applies; empty outside a series.
    QString seriesNote(int groupIndex) const;
    QList<int> computeVisible() const;
    int visiblePosition(int allIndex) const;
    void onCommittingChanged();

    ViewModelLink viewModel_;
    AuditFilter::Value filter_ = AuditFilter::All;
    QString searchText_;
    QList<Row> all_;
    QList<int> visible_; // ascending indices into all_
    qsizetype totalFiles_ = 0;
    QString savingGroupId_;
};

} // namespace kestrava
