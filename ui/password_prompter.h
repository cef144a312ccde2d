#pragma once

#include <QHash>
#include <QObject>
#include <QSet>
#include <QString>
#include <optional>

#include "settings/project_entry.h"

class QWidget;

namespace tavrin {

// Project passwords, asked for in a small modal dialog over the window. Requests for a project
// whose question is open wait for its answer and take it; a quit answers every open question
// with Cancel.
class PasswordPrompter final : public QObject {
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(PasswordPrompter)
public:
    explicit PasswordPrompter(QWidget* window);

    // False when the player cancelled. `retry`: the last password was refused.
    bool Ask(const ProjectEntry& entry, bool retry, QString& password);
    // Forgets the answers given in the last run.
    void ForgetOutcomes();
    void CancelOpen();

private:
    std::optional<bool> EarlierOutcome(const QString& key, QString& password);

    QWidget* window_;
    QSet<QString> open_;
    QHash<QString, bool> answered_;
    QHash<QString, QString> answers_;
};

}  // namespace tavrin
