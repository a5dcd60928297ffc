#pragma once

#include <QProcessEnvironment>
#include <QString>

// The toolchains a project folder asks for, put in front of an environment: its Python virtual
// environment (`.venv/` or `venv/`), and the Node version that `.nvmrc` or `.node-version` names,
// from the versions nvm or fnm has installed. Shim-based managers (asdf, mise, rbenv, pyenv,
// volta) need nothing here: their shims read the project's files from the working directory.
class ProjectToolchains
{
public:
    // `environment` as a server in `folder` gets it. Each toolchain applied is one log line, so
    // is a Node version that is not installed (the environment then stays as it is).
    static QProcessEnvironment apply(const QString& folder, QProcessEnvironment environment);

    // The installed Node folder that `wanted` selects from `installed` (folder names such as
    // "v20.11.1"): "20", "v20", "20.11" and "20.11.1" select the newest installed match. Empty
    // when none matches or `wanted` is no version number.
    static QString newestMatch(const QString& wanted, const QStringList& installed);
};
