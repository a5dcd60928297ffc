// matchPort with each pattern the port detection uses: the first byte picks the pattern, the
// rest is the text searched.

#include "FuzzSupport.h"

#include "Utilities/PortDetector.h"

#include <iterator>

FUZZ_INITIALIZE()

namespace {

// The patterns of PortDetector.cpp (.env files, package.json scripts, vite, vue and nuxt
// configuration files), kept in step with it by hand.
const char* const patterns[] = {
    R"((?:^|export\s+)PORT\s*=\s*(\d+))",
    R"((?:^|export\s+)VITE_PORT\s*=\s*(\d+))",
    R"((?:^|export\s+)DEV_PORT\s*=\s*(\d+))",
    R"((?:^|export\s+)SERVER_PORT\s*=\s*(\d+))",
    R"((?:^|export\s+)NEXT_PORT\s*=\s*(\d+))",
    R"(--port[=\s](\d+))",
    R"(-p[=\s](\d+))",
    R"(PORT=(\d+))",
    R"(port:\s*(\d+))",
    R"(port:\s*['"]?(\d+)['"]?)",
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    if (size == 0) {
        return 0;
    }
    const QString pattern = QString::fromLatin1(patterns[data[0] % std::size(patterns)]);
    const QString text = fuzz::text(data + 1, size - 1);
    const auto port = PortDetector::matchPort(text, pattern);
    if (port) {
        FUZZ_CHECK(*port >= 1 && *port <= 65535);
        // The port is digits of the text; leading zeros may have gone.
        FUZZ_CHECK(text.contains(QString::number(*port)));
    }
    return 0;
}
