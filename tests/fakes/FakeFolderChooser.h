#pragma once

#include "Views/FolderChooser.h"

#include <optional>

// Answers the folder question at once: with `answer`, or as a cancel when there is none.
class FakeFolderChooser : public FolderChooser
{
public:
    std::optional<QUrl> answer;
    int asked = 0;

    void choose(QWidget*, std::function<void(const QUrl& folder)> onChosen) override
    {
        ++asked;
        if (answer && onChosen) {
            onChosen(*answer);
        }
    }
};
