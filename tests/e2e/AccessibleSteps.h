#pragma once

#include "AccessibleNode.h"

#include <QString>

#include <chrono>
#include <functional>
#include <optional>
#include <string>

// The steps the end-to-end tests take on what the accessibility tree shows: waiting for a node,
// clicking it with the real pointer, and keeping a screenshot of the moment.
namespace AccessibleSteps {

// Reads a tree (wisp's windows, or its last popup); nothing, with `error` saying why, when there
// is none yet.
using ReadTree = std::function<std::optional<AccessibleNode>(QString* error)>;
using Search = std::function<std::optional<AccessibleNode>(const AccessibleNode& root)>;

// Waits until `search` finds something in the tree `read` gives; on time-out the test fails with
// `what` and the last tree (or why there was none).
std::optional<AccessibleNode> waitForSearch(const ReadTree& read, const Search& search,
                                            const std::string& what,
                                            std::chrono::milliseconds timeout);

// A real click in the middle of `node`; the test fails when there is no node or it has no place
// on the screen.
void clickOn(const std::optional<AccessibleNode>& node);

// Saves the screen as `name`.png in `folder` and says where.
void screenshot(const QString& folder, const QString& name);

} // namespace AccessibleSteps
