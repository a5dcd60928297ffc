// matchPort with each pattern the port detection uses: the first byte picks the pattern, the
// rest is the text searched.

#include "FuzzSupport.h"

#include "Utilities/PortDetector.h"

#include <span>
#include <vector>

FUZZ_INITIALIZE()

namespace {

// Every pattern PortDetector searches files with.
const std::vector<const char*> patterns = [] {
    std::vector<const char*> all;
    for (const auto& group : {std::span<const char* const>(PortDetector::envFilePatterns),
                              std::span<const char* const>(PortDetector::packageScriptPatterns),
                              std::span<const char* const>(PortDetector::viteConfigPatterns),
                              std::span<const char* const>(PortDetector::configPatterns)}) {
        all.insert(all.end(), group.begin(), group.end());
    }
    return all;
}();

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    if (size == 0) {
        return 0;
    }
    const QString pattern = QString::fromLatin1(patterns[data[0] % patterns.size()]);
    const QString text = fuzz::text(data + 1, size - 1);
    const auto port = PortDetector::matchPort(text, pattern);
    if (port) {
        FUZZ_CHECK(*port >= 1 && *port <= 65535);
        // The port is digits of the text; leading zeros may have gone.
        FUZZ_CHECK(text.contains(QString::number(*port)));
    }
    return 0;
}
