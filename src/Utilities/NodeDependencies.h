#pragma once

#include <QString>
#include <QStringList>

// Whether a Node project's dependencies have been installed, and how to install them.
class NodeDependencies
{
public:
    NodeDependencies() = delete;

    // package.json in `folder` declares dependencies or devDependencies and there is no
    // node_modules folder beside it. An unreadable or malformed package.json declares nothing.
    static bool missing(const QString& folder);

    // The install command of the package manager that the project's lockfile names (bun, pnpm,
    // yarn or npm, in that order when several are there); npm's without a lockfile.
    static QStringList installCommand(const QString& folder);
};
