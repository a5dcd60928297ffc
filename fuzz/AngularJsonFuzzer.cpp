// The angular.json reader: the port of the first project whose serve options set one.

#include "FuzzSupport.h"

#include "Utilities/PortDetector.h"

#include <QDir>
#include <QFile>

FUZZ_INITIALIZE()

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const QString folder = fuzz::scratch().path();
    const QString path = fuzz::writeScratchFile(QStringLiteral("angular.json"), data, size);

    const auto port = PortDetector::parseAngularJson(path);
    if (port) {
        FUZZ_CHECK(*port >= 1 && *port <= 65535);
    }
    // A folder with only this file: the angular port or nothing.
    const DetectionResult detected = PortDetector::detect(folder);
    if (port) {
        FUZZ_CHECK(detected == (DetectionResult{port, PortSource::angularJson}));
    } else {
        FUZZ_CHECK(detected == DetectionResult{});
    }
    return 0;
}
