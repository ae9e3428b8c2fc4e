// SPDX-License-Identifier: MIT
// vlpict.cpp - images to 'PICT' resources and back.
#include "QuickDraw/Picture_qt.h"
#include "support/Ref.h"
#include "tools/ImageFile.h"
#include "tools/ResourceWriter.h"

#include <CoreFoundation/CoreFoundation.h>

#include <QtCore/QtEndian>
#include <QtGui/QGuiApplication>
#include <QtGui/QPainter>

#include <string_view>

namespace {

const uint32_t kPictureType = 'PICT';

const char kHelp[] = R"(usage: vlpict add FILE.rsrc --id N [--name TEXT] [--density D] IMAGE
       vlpict list FILE.rsrc
       vlpict extract FILE.rsrc --id N [--type TYPE] [--scale S] OUT
       vlpict remove FILE.rsrc --id N [--type TYPE]
       vlpict draw FILE [--id N] [--scale S] OUT.png

add       puts an image (PNG, JPEG, .pict, or SVG with the package libqt6svg6) into a
          resource file as 'PICT' N, and creates a missing file. --density 2: the
          image has, or an SVG is drawn with, 2 pixels a point
list      type, id, bytes and name of each resource
extract   writes a resource's bytes; to OUT.png or OUT.pict a picture as such a file
remove    takes a resource out of the file
draw      paints a .pict file, or 'PICT' N of a resource file, at S times its size

A file named - is standard input or output; add and remove then read the one and write the
other. add takes an empty file as a new one.
exit codes: 0 done, 1 a file could not be read, decoded or written, 2 wrong arguments
)";

ResourceFile ParseResources(const std::string& bytes, const char* path)
{
    auto file = ResourceFile::Parse(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size());
    if (!file)
        Fail(std::string(path) + " is not a resource file");
    return std::move(*file);
}

void WriteResources(const char* path, const ResourceWriter& file)
{
    const auto bytes = file.Serialize();
    if (!bytes)
        Fail(std::string(path) + " would exceed the size limit of a resource file");
    WriteOutput(path, *bytes);
}

int16_t IdOf(const Arguments& arguments)
{
    if (!arguments.Has("id"))
        Fail("--id is missing", kUsage);
    return arguments.GetInteger<int16_t>("id");
}

const ResourceFile::Resource& FindResource(const ResourceFile& file, const Arguments& arguments)
{
    const std::string_view type = arguments.Get("type", "PICT");
    if (type.size() != 4)
        Fail("a type has four characters: " + std::string(type), kUsage);
    const auto* resource = file.Find(qFromBigEndian<uint32_t>(type.data()), IdOf(arguments));
    if (resource == nullptr)
        Fail(std::string("no such resource: ") + arguments.Get("id"));
    return *resource;
}

// The picture data of a .pict file, with or without the 512-byte header; empty for other files.
std::string PictureOfFile(const std::string& bytes)
{
    for (const size_t offset : { 512u, 0u }) {
        const std::string_view version
            = std::string_view(bytes).substr(std::min(offset + 10, bytes.size()), 4);
        if (version.starts_with("\x11\x01") || version == std::string_view("\x00\x11\x02\xFF", 4))
            return bytes.substr(offset);
    }
    return std::string();
}

// Draws a picture at --scale into the file that is the second argument.
void SaveDrawing(QByteArrayView picture, const Arguments& arguments)
{
    const double scale = arguments.GetNumber("scale", 1, 0.05, 20);
    const std::string name = std::string("the picture of ") + arguments[0];
    const auto decoded
        = DecodedPicture::Decode(picture.data(), static_cast<size_t>(picture.size()));
    if (!decoded)
        Fail(name + " is damaged or not supported");
    QImage image((decoded->FrameSize() * scale).toSize().expandedTo(QSize(1, 1)),
                 QImage::Format_RGB32);
    if (image.isNull())
        Fail(name + " is too large at this scale");
    QPainter painter(&image);
    decoded->Paint(painter, QRectF(image.rect()));
    painter.end();
    SaveImage(image, arguments[1]);
}

// Converts between UTF-8 and MacRoman. Fails for characters that the target encoding lacks.
std::string Convert(const std::string& text, CFStringEncoding from, CFStringEncoding to)
{
    const Ref<CFStringRef> string(
        CFStringCreateWithCString(kCFAllocatorDefault, text.c_str(), from));
    std::string converted(text.size() * 3 + 1, 0);
    const auto size = static_cast<CFIndex>(converted.size());
    if (!string || !CFStringGetCString(string.get(), converted.data(), size, to))
        Fail("the name has characters outside MacRoman: " + text, kUsage);
    return converted.c_str();
}

void Add(const Arguments& arguments)
{
    const int16_t id = IdOf(arguments);
    const std::string name
        = Convert(arguments.Get("name"), kCFStringEncodingUTF8, kCFStringEncodingMacRoman);
    if (name.size() > 255)
        Fail("a name has at most 255 characters", kUsage);
    const double density = arguments.GetNumber("density", 1, 0.05, 20);
    const std::string image = ReadInput(arguments[1]);
    std::string picture = PictureOfFile(image);
    if (picture.empty())
        picture = EncodeImage(image, arguments[1], density).toStdString();
    ResourceWriter file;
    if (arguments[0] == std::string_view("-")
        || QFileInfo::exists(QFile::decodeName(arguments[0]))) {
        const std::string old = ReadInput(arguments[0]);
        if (!old.empty())
            file = ResourceWriter(ParseResources(old, arguments[0]));
    }
    file.Set({ kPictureType, id, 0, name, { picture.begin(), picture.end() } });
    WriteResources(arguments[0], file);
}

void List(const Arguments& arguments)
{
    const ResourceFile file = ParseResources(ReadInput(arguments[0]), arguments[0]);
    for (const ResourceFile::Resource& resource : file.GetResources()) {
        for (const int shift : { 24, 16, 8, 0 }) {
            const int c = resource.type >> shift & 0xFF;
            putchar(c >= 0x20 && c < 0x7F ? c : '?');
        }
        const std::string name
            = Convert(resource.name, kCFStringEncodingMacRoman, kCFStringEncodingUTF8);
        printf(" %6d %9zu%s%s%s\n", resource.id, resource.data.size(), name.empty() ? "" : "  ",
               name.c_str(),
               resource.attributes & ResourceFile::kCompressed ? "  (compressed)" : "");
    }
}

void Extract(const Arguments& arguments)
{
    const std::string_view out = arguments[1];
    const ResourceFile file = ParseResources(ReadInput(arguments[0]), arguments[0]);
    const ResourceFile::Resource& resource = FindResource(file, arguments);
    if (resource.attributes & ResourceFile::kCompressed)
        Fail("resource is compressed: " + std::to_string(resource.id));
    QByteArray bytes(reinterpret_cast<const char*>(resource.data.data()),
                     std::ssize(resource.data));
    if (resource.type == kPictureType && out.ends_with(".pict"))
        bytes.prepend(512, 0);
    if (resource.type == kPictureType && out.ends_with(".png"))
        SaveDrawing(bytes, arguments);
    else
        WriteOutput(arguments[1], bytes);
}

void Remove(const Arguments& arguments)
{
    const ResourceFile old = ParseResources(ReadInput(arguments[0]), arguments[0]);
    const ResourceFile::Resource& resource = FindResource(old, arguments);
    ResourceWriter file(old);
    file.Remove(resource.type, resource.id);
    WriteResources(arguments[0], file);
}

void Draw(const Arguments& arguments)
{
    const std::string bytes = ReadInput(arguments[0]);
    const std::string picture = arguments.Has("id") ? std::string() : PictureOfFile(bytes);
    if (!picture.empty())
        SaveDrawing(picture, arguments);
    else
        SaveDrawing(FindResource(ParseResources(bytes, arguments[0]), arguments).data, arguments);
}

} // namespace

int main(int, char** argv)
{
    qputenv("QT_QPA_PLATFORM", "offscreen"); // fonts without a display
    int count = 1;
    char* name[] = { argv[0], nullptr };
    const QGuiApplication application(count, name);
    return RunTool("vlpict", kHelp,
                   { { "add", 2, { "id=", "name=", "density=" }, Add },
                     { "list", 1, {}, List },
                     { "extract", 2, { "id=", "type=", "scale=" }, Extract },
                     { "remove", 1, { "id=", "type=" }, Remove },
                     { "draw", 2, { "id=", "scale=" }, Draw } },
                   argv);
}
