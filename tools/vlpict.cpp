// SPDX-License-Identifier: MIT
// vlpict.cpp - images to 'PICT' resources and back.
#include "QuickDraw/Picture_qt.h"
#include "Resources/ResourceFile.h"
#include "tools/ImageFile.h"

#include <QtCore/QCommandLineParser>
#include <QtCore/QFile>
#include <QtCore/QSaveFile>
#include <QtGui/QGuiApplication>
#include <QtGui/QPainter>

#include <cstdio>

namespace {

const uint32_t kPictureType = 'PICT';

const char kHelp[]
    = "usage: vlpict add FILE.rsrc --id N [--name TEXT] [--density D] IMAGE\n"
      "       vlpict list FILE.rsrc\n"
      "       vlpict extract FILE.rsrc --id N [--type TYPE] OUT\n"
      "       vlpict remove FILE.rsrc --id N [--type TYPE]\n"
      "       vlpict draw FILE [--id N] [--scale S] OUT.png\n"
      "\n"
      "add       puts an image (PNG, JPEG, .pict, or SVG with the package libqt6svg6) into a\n"
      "          resource file as 'PICT' N; both are made when they are missing. --density 2: the\n"
      "          image has, or an SVG is drawn with, 2 pixels a point\n"
      "list      type, id, bytes and name of each resource\n"
      "extract   writes a resource's bytes; to OUT.png or OUT.pict a picture as such a file\n"
      "remove    takes a resource out of the file\n"
      "draw      paints a .pict file, or 'PICT' N of a resource file, at S times its size\n"
      "\n"
      "exit codes: 0 done, 1 a file could not be read, decoded or written, 2 wrong arguments\n";

struct Arguments
{
    QStringList words;
    bool hasId;
    int id;
    uint32_t type;
    QByteArray name;
    double density;
    double scale;
};

QByteArray ReadFile(const QString& path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        Fail(QStringLiteral("cannot read %1: %2").arg(path, file.errorString()));
    return file.readAll();
}

void WriteFile(const QString& path, const QByteArray& bytes)
{
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size() || !file.commit())
        Fail(QStringLiteral("cannot write %1: %2").arg(path, file.errorString()));
}

std::optional<ResourceFile> ParseResources(const QByteArray& bytes)
{
    return ResourceFile::Parse(reinterpret_cast<const uint8_t*>(bytes.constData()),
                               static_cast<size_t>(bytes.size()));
}

ResourceFile ReadResources(const QString& path)
{
    std::optional<ResourceFile> file = ParseResources(ReadFile(path));
    if (!file)
        Fail(QStringLiteral("%1 is no resource file").arg(path));
    return std::move(*file);
}

void WriteResources(const QString& path, const ResourceFile& file)
{
    const auto bytes = file.Serialize();
    if (!bytes)
        Fail(QStringLiteral("%1 would pass what a resource file holds").arg(path));
    WriteFile(path,
              QByteArray(reinterpret_cast<const char*>(bytes->data()),
                         static_cast<qsizetype>(bytes->size())));
}

const ResourceFile::Resource& FindResource(const ResourceFile& file, const Arguments& arguments)
{
    if (!arguments.hasId)
        FailUsage(QStringLiteral("--id is missing"));
    const auto* resource = file.Find(arguments.type, static_cast<int16_t>(arguments.id));
    if (resource == nullptr)
        Fail(QStringLiteral("no such resource: %1").arg(arguments.id));
    return *resource;
}

bool IsPicture(const QByteArray& bytes, qsizetype offset)
{
    const QByteArray version = bytes.mid(offset + 10, 4);
    return version.startsWith("\x11\x01") || version == QByteArray("\x00\x11\x02\xFF", 4);
}

/// The bare picture of a .pict file, with or without its 512 bytes in front; empty for other files.
QByteArray PictureOfFile(const QByteArray& bytes)
{
    if (IsPicture(bytes, 512))
        return bytes.mid(512);
    return IsPicture(bytes, 0) ? bytes : QByteArray();
}

QImage Draw(const QByteArray& picture, double scale, const QString& source)
{
    const auto decoded
        = DecodedPicture::Decode(picture.constData(), static_cast<size_t>(picture.size()));
    if (!decoded)
        Fail(QStringLiteral("the picture of %1 is damaged or uses what is not known").arg(source));
    QImage image((decoded->FrameSize() * scale).toSize().expandedTo(QSize(1, 1)),
                 QImage::Format_RGB32);
    if (image.isNull())
        Fail(QStringLiteral("the picture of %1 is too large at this scale").arg(source));
    QPainter painter(&image);
    decoded->Paint(painter, QRectF(image.rect()));
    return image;
}

QByteArray BytesOf(const ResourceFile::Resource& resource)
{
    return QByteArray(reinterpret_cast<const char*>(resource.data.data()),
                      static_cast<qsizetype>(resource.data.size()));
}

void Add(const Arguments& arguments)
{
    const QString& path = arguments.words.at(1);
    const QString& imagePath = arguments.words.at(2);
    if (!arguments.hasId)
        FailUsage(QStringLiteral("--id is missing"));
    QByteArray picture = PictureOfFile(ReadFile(imagePath));
    if (picture.isEmpty())
        picture = EncodeImageFile(imagePath, arguments.density);
    ResourceFile file;
    if (QFileInfo::exists(path))
        file = ReadResources(path);
    file.Set({ kPictureType, static_cast<int16_t>(arguments.id), 0, arguments.name.toStdString(),
               std::vector<uint8_t>(picture.begin(), picture.end()) });
    WriteResources(path, file);
}

void List(const Arguments& arguments)
{
    const ResourceFile file = ReadResources(arguments.words.at(1));
    for (const ResourceFile::Resource& resource : file.GetResources()) {
        for (const int shift : { 24, 16, 8, 0 }) {
            const int c = resource.type >> shift & 0xFF;
            putchar(c >= 0x20 && c < 0x7F ? c : '?');
        }
        printf(" %6d %9zu", resource.id, resource.data.size());
        if (!resource.name.empty())
            printf("  %s", resource.name.c_str());
        putchar('\n');
    }
}

void Extract(const Arguments& arguments)
{
    const QString& out = arguments.words.at(2);
    const ResourceFile file = ReadResources(arguments.words.at(1));
    const ResourceFile::Resource& resource = FindResource(file, arguments);
    const bool picture = resource.type == kPictureType;
    if (picture && out.endsWith(QLatin1String(".png")))
        SaveImage(Draw(BytesOf(resource), arguments.scale, arguments.words.at(1)), out);
    else if (picture && out.endsWith(QLatin1String(".pict")))
        WriteFile(out, QByteArray(512, 0) + BytesOf(resource));
    else
        WriteFile(out, BytesOf(resource));
}

void Remove(const Arguments& arguments)
{
    ResourceFile file = ReadResources(arguments.words.at(1));
    FindResource(file, arguments);
    file.Remove(arguments.type, static_cast<int16_t>(arguments.id));
    WriteResources(arguments.words.at(1), file);
}

void DrawFile(const Arguments& arguments)
{
    const QString& path = arguments.words.at(1);
    const QByteArray bytes = ReadFile(path);
    QByteArray picture = arguments.hasId ? QByteArray() : PictureOfFile(bytes);
    if (picture.isEmpty()) {
        const std::optional<ResourceFile> file = ParseResources(bytes);
        if (!file)
            Fail(QStringLiteral("%1 is neither a picture nor a resource file").arg(path));
        picture = BytesOf(FindResource(*file, arguments));
    }
    SaveImage(Draw(picture, arguments.scale, path), arguments.words.at(2));
}

uint32_t ParseType(const QString& text)
{
    const QByteArray bytes = text.toLatin1();
    if (bytes.size() != 4)
        FailUsage(QStringLiteral("a type has four characters: %1").arg(text));
    uint32_t type = 0;
    for (const char c : bytes)
        type = type << 8 | static_cast<uint8_t>(c);
    return type;
}

double ParseFactor(const QString& text)
{
    bool ok = false;
    const double factor = text.toDouble(&ok);
    if (!ok || !(factor >= 0.05 && factor <= 20))
        FailUsage(QStringLiteral("not a factor from 0.05 to 20: %1").arg(text));
    return factor;
}

Arguments ParseArguments(const QStringList& list)
{
    QCommandLineParser parser;
    parser.addOptions(
        { { QStringLiteral("id"), QString(), QStringLiteral("N") },
          { QStringLiteral("type"), QString(), QStringLiteral("T"), QStringLiteral("PICT") },
          { QStringLiteral("name"), QString(), QStringLiteral("TEXT") },
          { QStringLiteral("density"), QString(), QStringLiteral("D"), QStringLiteral("1") },
          { QStringLiteral("scale"), QString(), QStringLiteral("S"), QStringLiteral("1") },
          { { QStringLiteral("h"), QStringLiteral("help") }, QString() } });
    if (!parser.parse(list))
        FailUsage(parser.errorText());
    if (parser.isSet(QStringLiteral("help"))) {
        fputs(kHelp, stdout);
        throw Failure { kDone, {} };
    }
    Arguments arguments;
    arguments.words = parser.positionalArguments();
    arguments.hasId = parser.isSet(QStringLiteral("id"));
    bool ok = true;
    arguments.id = arguments.hasId ? parser.value(QStringLiteral("id")).toInt(&ok) : 0;
    if (!ok || arguments.id < -32768 || arguments.id > 32767)
        FailUsage(QStringLiteral("an id lies between -32768 and 32767"));
    arguments.type = ParseType(parser.value(QStringLiteral("type")));
    arguments.name = parser.value(QStringLiteral("name")).toLatin1();
    arguments.density = ParseFactor(parser.value(QStringLiteral("density")));
    arguments.scale = ParseFactor(parser.value(QStringLiteral("scale")));
    return arguments;
}

struct Command
{
    const char* name;
    qsizetype words; // with the command's own
    void (*run)(const Arguments&);
};

const Command kCommands[] = { { "add", 3, Add },
                              { "list", 2, List },
                              { "extract", 3, Extract },
                              { "remove", 2, Remove },
                              { "draw", 3, DrawFile } };

int Run(const QStringList& list)
{
    const Arguments arguments = ParseArguments(list);
    const QString name = arguments.words.value(0);
    for (const Command& command : kCommands) {
        if (name != QLatin1String(command.name))
            continue;
        if (arguments.words.size() != command.words)
            FailUsage(QStringLiteral("wrong number of arguments for %1").arg(name));
        command.run(arguments);
        return kDone;
    }
    FailUsage(QStringLiteral("no command %1").arg(name).trimmed());
}

} // namespace

int main(int argc, char** argv)
{
    qputenv("QT_QPA_PLATFORM", "offscreen"); // fonts without a display
    QGuiApplication application(argc, argv);
    return RunTool("vlpict", [] { return Run(QCoreApplication::arguments()); });
}
