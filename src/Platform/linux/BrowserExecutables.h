#pragma once

#include "Models/Browser.h"

#include <QStringList>

// Where each browser lives on Linux: the executables that start it (looked for on PATH, in
// this order) and the process names its running instances have.
class BrowserExecutables
{
public:
    static QStringList names(Browser browser);
    // The first of `names` found on PATH; empty when none is.
    static QString find(Browser browser);
    // Names as /proc/<pid>/comm shows them (at most 15 characters).
    static QStringList processNames(Browser browser);
};
