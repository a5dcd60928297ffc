// The package.json reader: the port of the start scripts, the framework default from the
// dependencies, and the detection of a folder that holds only this file.

#include "FuzzSupport.h"

#include "Utilities/PortDetector.h"

#include <QDir>
#include <QFile>

FUZZ_INITIALIZE()

namespace {

void checkPort(const std::optional<int>& port)
{
    if (port) {
        FUZZ_CHECK(*port >= 1 && *port <= 65535);
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const QString folder = fuzz::scratch().path();
    const QString path = fuzz::writeScratchFile(QStringLiteral("package.json"), data, size);

    const auto scripted = PortDetector::parsePackageJson(path);
    checkPort(scripted);

    const DetectionResult defaults = PortDetector::detectDefaultPort(folder);
    checkPort(defaults.port);
    FUZZ_CHECK(defaults.port.has_value() == defaults.source.has_value());
    if (defaults.source) {
        FUZZ_CHECK(*defaults.source == PortSource::defaultValue);
    }

    const DetectionResult detected = PortDetector::detect(folder);
    checkPort(detected.port);
    FUZZ_CHECK(detected.port.has_value() == detected.source.has_value());
    if (scripted) {
        FUZZ_CHECK(detected == (DetectionResult{scripted, PortSource::packageJson}));
    } else {
        FUZZ_CHECK(detected == defaults);
    }
    return 0;
}
