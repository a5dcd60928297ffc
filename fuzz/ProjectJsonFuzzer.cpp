// The stored-project decoder, and its round trip: a project that decodes encodes to JSON that
// decodes to the same project, in both JSON layouts.

#include "FuzzSupport.h"

#include "Models/Project.h"

#include <QJsonArray>

FUZZ_INITIALIZE()

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    QString error;
    const auto project = Project::fromJson(fuzz::bytes(data, size), &error);
    if (!project) {
        FUZZ_CHECK(!error.isEmpty());
        return 0;
    }
    (void)project->effectiveCommand();
    (void)qHash(*project);

    for (const auto format : {QJsonDocument::Compact, QJsonDocument::Indented}) {
        const QByteArray encoded = project->toJson(format);
        QString again;
        const auto decoded = Project::fromJson(encoded, &again);
        if (!decoded) {
            std::fprintf(stderr, "re-decoding failed: %s\n%s\n", qPrintable(again),
                         encoded.constData());
        }
        FUZZ_CHECK(decoded.has_value());
        if (*decoded != *project) {
            std::fprintf(stderr, "changed by the round trip:\n%s\n%s\n", encoded.constData(),
                         decoded->toJson(format).constData());
        }
        FUZZ_CHECK(*decoded == *project);
        FUZZ_CHECK(qHash(*decoded) == qHash(*project));
        FUZZ_CHECK(decoded->toJson(format) == encoded);
    }
    // The list form holds the same project.
    const QJsonDocument list = QJsonDocument::fromJson(Project::toJson({*project}));
    FUZZ_CHECK(list.isArray() && list.array().size() == 1);
    const auto element = Project::fromJson(list.array().first().toObject());
    FUZZ_CHECK(element.has_value() && *element == *project);
    return 0;
}
