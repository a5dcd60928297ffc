// Renders the application icon, an SVG file, as square PNG images: the hicolor icons of the
// Linux desktop entry and the iconset of the macOS bundle's .icns come from the same source.
//
//     wisp-icon SOURCE.svg SIZE OUTPUT.png [SIZE OUTPUT.png]...

#include <QDir>
#include <QFileInfo>
#include <QImage>
#include <QPainter>
#include <QSvgRenderer>

#include <cstdio>

namespace {

bool render(QSvgRenderer& renderer, int size, const QString& output)
{
    QImage image(size, size, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    QPainter painter(&image);
    painter.setRenderHint(QPainter::Antialiasing);
    renderer.render(&painter, QRectF(0, 0, size, size));
    painter.end();
    QDir().mkpath(QFileInfo(output).absolutePath());
    return image.save(output, "PNG");
}

} // namespace

int main(int argc, char** argv)
{
    if (argc < 4 || argc % 2 != 0) {
        std::fprintf(stderr, "usage: wisp-icon SOURCE.svg SIZE OUTPUT.png [SIZE OUTPUT.png]...\n");
        return 2;
    }
    QSvgRenderer renderer(QString::fromLocal8Bit(argv[1]));
    if (!renderer.isValid()) {
        std::fprintf(stderr, "wisp-icon: %s is not a readable SVG image\n", argv[1]);
        return 1;
    }
    for (int index = 2; index < argc; index += 2) {
        bool isNumber = false;
        const int size = QString::fromLocal8Bit(argv[index]).toInt(&isNumber);
        if (!isNumber || size <= 0) {
            std::fprintf(stderr, "wisp-icon: %s is not a size in pixels\n", argv[index]);
            return 2;
        }
        const QString output = QString::fromLocal8Bit(argv[index + 1]);
        if (!render(renderer, size, output)) {
            std::fprintf(stderr, "wisp-icon: could not write %s\n", argv[index + 1]);
            return 1;
        }
    }
    return 0;
}
