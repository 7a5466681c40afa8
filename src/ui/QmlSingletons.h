#pragma once

// The view model and the shell as declared singletons of the Kestrava module, so the QML
// compiler and qmllint know their types and check every binding against them. Each engine is
// handed the objects configureEngine was given for it (the program's pair, or a test's fresh
// pair per case); they stay owned by their creator. The stages they expose are declared too.

#include "AppShell.h"
#include "workflow/KestravaViewModel.h"

#include <QJSEngine>
#include <QPointer>
#include <QtQml/qqml.h>

class QQmlEngine;

namespace kestrava {

// The stages as types QML knows but cannot create: reached only through the view model.
struct LoadingStageForeign { Q_GADGET QML_FOREIGN(kestrava::LoadingStage) QML_ANONYMOUS };
struct ReviewStageForeign { Q_GADGET QML_FOREIGN(kestrava::ReviewStage) QML_ANONYMOUS };
struct AuditStageForeign { Q_GADGET QML_FOREIGN(kestrava::AuditStage) QML_ANONYMOUS };
struct SessionStageForeign { Q_GADGET QML_FOREIGN(kestrava::SessionStage) QML_ANONYMOUS };
struct SetupStageForeign { Q_GADGET QML_FOREIGN(kestrava::SetupStage) QML_ANONYMOUS };
struct ExecutionStageForeign { Q_GADGET QML_FOREIGN(kestrava::ExecutionStage) QML_ANONYMOUS };
struct TrashStageForeign { Q_GADGET QML_FOREIGN(kestrava::TrashStage) QML_ANONYMOUS };
struct SeriesStageForeign { Q_GADGET QML_FOREIGN(kestrava::SeriesStage) QML_ANONYMOUS };
struct CompareStageForeign { Q_GADGET QML_FOREIGN(kestrava::CompareStage) QML_ANONYMOUS };

struct ViewModelSingleton {
    Q_GADGET
    QML_FOREIGN(kestrava::KestravaViewModel)
    QML_NAMED_ELEMENT(ViewModel)
    QML_SINGLETON

public:
    static inline QPointer<KestravaViewModel> instance;
    static KestravaViewModel* create(QQmlEngine*, QJSEngine*)
    {
        QJSEngine::setObjectOwnership(instance.data(), QJSEngine::CppOwnership);
        return instance.data();
    }
};

struct ShellSingleton {
    Q_GADGET
    QML_FOREIGN(kestrava::AppShell)
    QML_NAMED_ELEMENT(Shell)
    QML_SINGLETON

public:
    static inline QPointer<AppShell> instance;
    static AppShell* create(QQmlEngine*, QJSEngine*)
    {
        QJSEngine::setObjectOwnership(instance.data(), QJSEngine::CppOwnership);
        return instance.data();
    }
};

} // namespace kestrava
