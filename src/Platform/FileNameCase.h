#pragma once

#include <QString>
#include <Qt>

// How the file system holding a folder looks names up in it: exactly, or ignoring case (the
// default macOS volumes; FAT volumes and case-folded folders on Linux). Marker files are then
// found the way opening them by name would find them.
struct FileNameCase
{
    // The lookup rule of the folder at `folderPath`; an unreadable folder answers the
    // platform's usual rule.
    static Qt::CaseSensitivity of(const QString& folderPath);
};
