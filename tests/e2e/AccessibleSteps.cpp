#include "AccessibleSteps.h"

#include "Desktop.h"

#include "support/TestSupport.h"

#include <QDir>

#include <gtest/gtest.h>

#include <cstdio>

namespace AccessibleSteps {

std::optional<AccessibleNode> waitForSearch(const ReadTree& read, const Search& search,
                                            const std::string& what,
                                            std::chrono::milliseconds timeout)
{
    std::optional<AccessibleNode> found;
    std::optional<AccessibleNode> last;
    QString error;
    TestSupport::waitUntil(
        [&] {
            last = read(&error);
            found = last ? search(*last) : std::nullopt;
            return found.has_value();
        },
        timeout);
    if (!found) {
        ADD_FAILURE() << "never appeared: " << what << "\n"
                      << (last ? last->outline() : error).toStdString();
    }
    return found;
}

void clickOn(const std::optional<AccessibleNode>& node)
{
    ASSERT_TRUE(node.has_value());
    ASSERT_FALSE(node->extents.isEmpty()) << node->outline().toStdString();
    Desktop::click(node->centre());
}

void screenshot(const QString& folder, const QString& name)
{
    const QString path = QDir(folder).filePath(name + QStringLiteral(".png"));
    EXPECT_TRUE(Desktop::screenshot(path)) << "no screenshot " << path.toStdString();
    std::printf("screenshot: %s\n", qPrintable(path));
    std::fflush(stdout);
}

} // namespace AccessibleSteps
