#pragma once

#include <QProcessEnvironment>
#include <QString>

// Whether the application has a display to put its status item on. Without one Qt would abort
// while it starts, so the application checks first and says why it cannot run.
class GraphicalSession
{
public:
    GraphicalSession() = delete;

    // Why no display can be reached in `environment`; empty when one can (or may) be.
    static QString missingDisplayReason(
        const QProcessEnvironment& environment = QProcessEnvironment::systemEnvironment());
};
