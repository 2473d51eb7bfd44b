#pragma once

#include <QObject>
#include <QString>

#include <optional>

// One running program a session: the first start holds a name on the session bus, a later one
// asks it to show its settings window and goes.
class SingleInstance : public QObject {
    Q_OBJECT

public:
    explicit SingleInstance(QObject* parent = nullptr);
    ~SingleInstance() override;

    // True when this process is the one to run: it now holds the name, or there is no session
    // bus to ask. False when another instance runs and was asked for its window.
    bool claim();

    // The support report of the instance that runs; nothing when none answers.
    static std::optional<QString> runningSupportInfo();
};
