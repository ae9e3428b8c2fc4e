// SPDX-License-Identifier: MIT
// PropertyList.cpp - property lists in XML.
// Why not libplist: it changes numbers out of its range, parses reals in the process's locale and takes
// quadratic time for texts with many entities.
#include "CoreFoundation/PropertyList.h"

#include "CoreFoundation/CFObject.h"
#include "support/Ref.h"
#include "support/Utf8.h"

#include <CoreFoundation/CoreFoundation.h>

#include <algorithm>
#include <charconv>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <new>
#include <optional>
#include <vector>

// Checks the result of a creation that fails only without memory.
template <typename Pointer> static Pointer Made(Pointer object)
{
    if (object == nullptr)
        throw std::bad_alloc();
    return object;
}

// --- dates ---

constexpr std::chrono::sys_days kEpoch = std::chrono::year(2001) / 1 / 1;

static std::string FormatDate(CFAbsoluteTime at)
{
    using namespace std::chrono;
    auto time = kEpoch + seconds(static_cast<SInt64>(std::floor(at)));
    auto day = floor<days>(time);
    year_month_day date(day);
    hh_mm_ss clock(time - day);
    char text[64];
    std::snprintf(text, sizeof(text), "%04d-%02u-%02uT%02d:%02d:%02dZ",
                  static_cast<int>(date.year()), static_cast<unsigned>(date.month()),
                  static_cast<unsigned>(date.day()), static_cast<int>(clock.hours().count()),
                  static_cast<int>(clock.minutes().count()),
                  static_cast<int>(clock.seconds().count()));
    return text;
}

static std::optional<CFAbsoluteTime> ParseDate(const std::string& text)
{
    using namespace std::chrono;
    int y = 0;
    unsigned part[5] = {};
    std::sscanf(text.c_str(), "%4d-%2u-%2uT%2u:%2u:%2uZ", &y, &part[0], &part[1], &part[2],
                &part[3], &part[4]);
    const sys_days day = year(y) / month(part[0]) / std::chrono::day(part[1]);
    const seconds time = day - kEpoch + hours(part[2]) + minutes(part[3]) + seconds(part[4]);
    const auto at = static_cast<CFAbsoluteTime>(time.count());
    return y > 0 && FormatDate(at) == text ? std::optional(at) : std::nullopt;
}

// --- data ---

constexpr std::string_view kBase64
    = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

static void AppendBase64(std::string& xml, CFDataRef data)
{
    const auto n = static_cast<size_t>(data->nBytes);
    for (size_t i = 0; i < n; i += 3) {
        UInt32 group = 0;
        for (size_t k = 0; k < 3; ++k)
            group = group << 8 | (i + k < n ? data->bytes[i + k] : 0u);
        for (size_t k = 0; k < 4; ++k)
            xml += i + k <= n ? kBase64[group >> (18 - 6 * k) & 63] : '=';
    }
}

static bool ParseBase64(const std::string& text, std::string& bytes)
{
    UInt32 group = 0;
    size_t nDigits = 0;
    size_t nPadding = 0;
    for (char character : text) {
        size_t digit = kBase64.find(character);
        if (character == ' ' || character == '\t' || character == '\n' || character == '\r')
            continue;
        if (character == '=') {
            ++nPadding;
            continue;
        }
        if (digit == std::string_view::npos || nPadding > 0)
            return false;
        group = group << 6 | static_cast<UInt32>(digit);
        if (++nDigits % 4 == 0) {
            for (int shift = 16; shift >= 0; shift -= 8)
                bytes.push_back(static_cast<char>(group >> shift & 0xFF));
        }
    }
    if (nDigits % 4 == 1 || (nDigits + nPadding) % 4 != 0 || nPadding > 2)
        return false;
    if (nDigits % 4 != 0) {
        group <<= 6 * nPadding;
        for (size_t i = 0; i < 3 - nPadding; ++i)
            bytes.push_back(static_cast<char>(group >> (16 - 8 * i) & 0xFF));
    }
    return true;
}

// --- numbers ---

static std::string_view Trimmed(std::string_view text)
{
    constexpr std::string_view kBlank = " \t\r\n";
    size_t first = text.find_first_not_of(kBlank);
    return first == text.npos ? "" : text.substr(first, text.find_last_not_of(kBlank) + 1 - first);
}

template <typename Number> static bool ParseWhole(std::string_view text, Number& number, int base)
{
    auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number, base);
    return error == std::errc() && end == text.data() + text.size();
}

static CFNumberRef CreateInteger(std::string_view text)
{
    bool isNegative = text.starts_with('-');
    if (isNegative || text.starts_with('+'))
        text.remove_prefix(1);
    bool isHex = text.starts_with("0x") || text.starts_with("0X");
    UInt64 magnitude = 0;
    UInt64 most = isNegative ? UInt64(1) << 63 : ~UInt64(0);
    if (!ParseWhole(isHex ? text.substr(2) : text, magnitude, isHex ? 16 : 10) || magnitude > most)
        return nullptr;
    if (isNegative || magnitude <= INT64_MAX)
        return new __CFNumber(static_cast<SInt64>(isNegative ? 0 - magnitude : magnitude));
    return new __CFNumber(magnitude);
}

static CFNumberRef CreateReal(std::string_view text)
{
    if (text.starts_with('+') && !text.starts_with("+-"))
        text.remove_prefix(1);
    double value = 0;
    auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    bool isWhole = error == std::errc() && end == text.data() + text.size() && !text.empty();
    return isWhole ? new __CFNumber(value) : nullptr;
}

static std::string FormatReal(double value)
{
    if (std::isinf(value))
        return value < 0 ? "-infinity" : "+infinity";
    char text[64];
    return { text, std::to_chars(text, text + sizeof(text), value).ptr };
}

// --- containers ---

namespace {

// An array or a dictionary under construction.
struct OpenContainer
{
    explicit OpenContainer(bool isDictionary)
        : dictionary(isDictionary ? new __CFDictionary : nullptr)
        , array(isDictionary ? nullptr : new __CFArray)
    {
    }

    const char* Name() const { return dictionary ? "dict" : "array"; }
    void Add(Ref<> value)
    {
        if (dictionary) {
            dictionary->Set(key.get(), value.get());
        } else {
            array->values.push_back(value.get());
            value.release(); // the array owns it now
        }
    }
    Ref<> Close() { return dictionary ? Ref<>(dictionary.release()) : Ref<>(array.release()); }

    Ref<__CFDictionary*> dictionary; // null for an array
    Ref<__CFArray*> array;
    Ref<> key; // of the next value
};

} // namespace

// --- reading ---

namespace {

struct Tag
{
    std::string_view name;
    bool isEnd = false; // </name>
    bool isEmpty = false; // <name/>

    bool Closes(std::string_view other) const { return isEnd && name == other; }
};

// Throws bad_alloc and nothing else.
class Reader
{
public:
    explicit Reader(std::string_view xml)
        : m_rest(xml)
    {
    }

    CFTypeRef CreateDocument()
    {
        Skip("\xEF\xBB\xBF");
        Tag tag = NextTag();
        if (tag.name != "plist" || tag.isEnd || tag.isEmpty)
            return nullptr;
        Ref<> value(CreateValue());
        if (!value || !NextTag().Closes("plist"))
            return nullptr;
        SkipBetweenTags();
        return m_rest.empty() ? value.release() : nullptr;
    }

private:
    bool Skip(std::string_view text)
    {
        bool isThere = m_rest.starts_with(text);
        m_rest.remove_prefix(isThere ? text.size() : 0);
        return isThere;
    }

    // Consumes the text up to and including `end`; returns the part before it. Nothing if `end` is absent.
    std::optional<std::string_view> Until(std::string_view end)
    {
        size_t n = m_rest.find(end);
        if (n == m_rest.npos)
            return std::nullopt;
        std::string_view text = m_rest.substr(0, n);
        m_rest.remove_prefix(n + end.size());
        return text;
    }

    void SkipBetweenTags()
    {
        for (;;) {
            m_rest.remove_prefix(std::min(m_rest.find_first_not_of(" \t\r\n"), m_rest.size()));
            std::string_view before = m_rest;
            bool isSkipped = Skip("<!--") ? Until("-->").has_value()
                : Skip("<?")              ? Until("?>").has_value()
                : Skip("<!DOCTYPE")       ? Until(">").value_or("[").find('[') == before.npos
                                          : false; // a "[" could declare entities
            if (!isSkipped) {
                m_rest = before;
                return;
            }
        }
    }

    // Consumes the next tag. Its name is empty if no tag follows.
    Tag NextTag()
    {
        SkipBetweenTags();
        Tag tag;
        if (!Skip("<"))
            return {};
        tag.isEnd = Skip("/");
        std::optional<std::string_view> inside = Until(">");
        if (!inside || inside->find('<') != inside->npos)
            return {};
        if (!tag.isEnd && inside->ends_with('/')) {
            tag.isEmpty = true;
            inside->remove_suffix(1);
        }
        tag.name = inside->substr(0, inside->find_first_of(" \t\r\n"));
        return tag;
    }

    // Consumes and decodes the text up to the end tag of `tag`.
    std::optional<std::string> Text(const Tag& tag)
    {
        std::string text;
        while (!tag.isEmpty) {
            std::optional<std::string_view> raw = Until("<");
            if (!raw || !Decode(*raw, text))
                return std::nullopt;
            if (Skip("![CDATA[")) {
                raw = Until("]]>");
                if (!raw)
                    return std::nullopt;
                AppendLines(*raw, text);
            } else if (Skip("!--")) {
                if (!Until("-->"))
                    return std::nullopt;
            } else if (Skip("/")) {
                raw = Until(">");
                if (!raw || Trimmed(*raw) != tag.name)
                    return std::nullopt;
                break;
            } else {
                return std::nullopt;
            }
        }
        return text;
    }

    // Normalises line ends as XML does: CR LF and CR become LF.
    static void AppendLines(std::string_view raw, std::string& text)
    {
        for (size_t i = 0; i < raw.size(); ++i) {
            if (raw[i] != '\r')
                text += raw[i];
            else if (raw.substr(i, 2) != "\r\n")
                text += '\n';
        }
    }

    static bool Decode(std::string_view raw, std::string& text)
    {
        while (!raw.empty()) {
            size_t n = std::min(raw.find('&'), raw.size());
            AppendLines(raw.substr(0, n), text);
            raw.remove_prefix(n);
            size_t end = raw.substr(0, 16).find(';'); // no valid entity is longer
            if (!raw.empty()) {
                if (end == raw.npos || !DecodeEntity(raw.substr(1, end - 1), text))
                    return false;
                raw.remove_prefix(end + 1);
            }
        }
        return true;
    }

    static bool DecodeEntity(std::string_view name, std::string& text)
    {
        static constexpr struct
        {
            std::string_view name;
            char character;
        } kEntities[]
            = { { "lt", '<' }, { "gt", '>' }, { "amp", '&' }, { "quot", '"' }, { "apos", '\'' } };
        for (const auto& entity : kEntities) {
            if (entity.name == name) {
                text += entity.character;
                return true;
            }
        }
        UInt32 code = 0;
        bool isHex = name.starts_with("#x");
        bool isNumber = name.starts_with('#')
            && ParseWhole(name.substr(isHex ? 2 : 1), code, isHex ? 16 : 10);
        if (!isNumber || code == 0 || code > 0x10FFFF || (code >= 0xD800 && code < 0xE000))
            return false;
        Utf8_Append(text, code);
        return true;
    }

    // Consumes the next value with its contents.
    CFTypeRef CreateValue()
    {
        std::vector<OpenContainer> open; // outermost first
        for (;;) {
            Tag tag = NextTag();
            Ref<> value;
            if (!open.empty() && tag.Closes(open.back().Name())) {
                value = open.back().Close();
                open.pop_back();
            } else {
                if (!open.empty() && open.back().dictionary) {
                    open.back().key = Ref<>(CreateKey(tag));
                    if (!open.back().key)
                        return nullptr;
                    tag = NextTag();
                }
                if (tag.isEnd)
                    return nullptr;
                if (tag.name == "dict" || tag.name == "array") {
                    OpenContainer container(tag.name == "dict");
                    if (!tag.isEmpty) {
                        open.push_back(std::move(container));
                        continue;
                    }
                    value = container.Close();
                } else {
                    value = Ref<>(CreateScalar(tag));
                }
            }
            if (!value || open.empty())
                return value.release();
            open.back().Add(std::move(value));
        }
    }

    // Null if the tag is no <key> or its text is damaged.
    CFStringRef CreateKey(const Tag& tag)
    {
        std::optional<std::string> text
            = tag.name == "key" && !tag.isEnd ? Text(tag) : std::nullopt;
        return text ? Made(CFString_Create(*text)) : nullptr;
    }

    // Any value other than a container.
    CFTypeRef CreateScalar(const Tag& tag)
    {
        std::optional<std::string> text = Text(tag);
        if (!text)
            return nullptr;
        if (tag.name == "string")
            return Made(CFString_Create(*text));
        if (tag.name == "true" || tag.name == "false")
            return !text->empty() ? nullptr : tag.name == "true" ? kCFBooleanTrue : kCFBooleanFalse;
        if (tag.name == "integer")
            return CreateInteger(Trimmed(*text));
        if (tag.name == "real")
            return CreateReal(Trimmed(*text));
        if (tag.name == "date") {
            std::optional<CFAbsoluteTime> date = ParseDate(std::string(Trimmed(*text)));
            return date ? new __CFDate(*date) : nullptr;
        }
        std::string bytes;
        if (tag.name == "data" && ParseBase64(*text, bytes)) {
            return Made(CFDataCreate(nullptr, reinterpret_cast<const UInt8*>(bytes.data()),
                                     static_cast<CFIndex>(bytes.size())));
        }
        return nullptr;
    }

    std::string_view m_rest;
};

} // namespace

CFPropertyListRef PropertyList_CreateFromXML(std::string_view xml)
{
    bool isFit
        = xml.size() <= kPropertyListLargest && xml.find('\0') == xml.npos && Utf8_IsValid(xml);
    return isFit ? Reader(xml).CreateDocument() : nullptr;
}

CFPropertyListRef CFPropertyListCreateFromXMLData(CFAllocatorRef,
                                                  CFDataRef xmlData,
                                                  CFOptionFlags,
                                                  CFStringRef* errorString)
{
    if (errorString != nullptr)
        *errorString = nullptr;
    try {
        const auto* xml = reinterpret_cast<const char*>(CFDataGetBytePtr(xmlData));
        return PropertyList_CreateFromXML({ xml, static_cast<size_t>(CFDataGetLength(xmlData)) });
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

// --- writing ---

static void AppendText(std::string& xml, std::string_view text)
{
    for (char character : text) {
        if (character == '<')
            xml += "&lt;";
        else if (character == '>')
            xml += "&gt;";
        else if (character == '&')
            xml += "&amp;";
        else if (static_cast<UInt8>(character) >= ' ' || character == '\t' || character == '\n')
            xml += character;
        else // as a reference: readers change or refuse raw control characters
            xml += "&#" + std::to_string(static_cast<int>(character)) + ";";
    }
}

static void AppendElement(std::string& xml, const char* name, std::string_view text)
{
    ((xml += '<') += name) += '>';
    AppendText(xml, text);
    ((xml += "</") += name) += ">\n";
}

static bool IsText(CFTypeRef object)
{
    return CFGetTypeID(object) == kTypeString
        && static_cast<CFStringRef>(object)->Text().find('\0') == std::string_view::npos;
}

// False for a value that a property list cannot hold.
static bool AppendScalar(std::string& xml, CFTypeRef value)
{
    switch (CFGetTypeID(value)) {
    case kTypeString:
        AppendElement(xml, "string", static_cast<CFStringRef>(value)->Text());
        return IsText(value);
    case kTypeNumber:
        std::visit(
            [&xml](auto number) {
                if constexpr (std::is_floating_point_v<decltype(number)>)
                    AppendElement(xml, "real", FormatReal(number));
                else
                    AppendElement(xml, "integer", std::to_string(number));
            },
            static_cast<CFNumberRef>(value)->value);
        return true;
    case kTypeDate:
        AppendElement(xml, "date", FormatDate(static_cast<CFDateRef>(value)->at));
        return true;
    case kTypeBoolean:
        xml += value == kCFBooleanTrue ? "<true/>\n" : "<false/>\n";
        return true;
    case kTypeData:
        xml += "<data>";
        AppendBase64(xml, static_cast<CFDataRef>(value));
        xml += "</data>\n";
        return true;
    default:
        return false;
    }
}

// One tab for each level, bounded: a deep list would take quadratic space otherwise.
static void AppendIndent(std::string& xml, size_t depth)
{
    constexpr size_t kDeepestIndent = 8;
    xml.append(std::min(depth, kDeepestIndent), '\t');
}

bool PropertyList_FormatXML(CFPropertyListRef value, std::string& xml)
{
    struct Open
    {
        CFTypeRef container;
        size_t next; // of its values
    };
    std::vector<Open> open; // the containers around `value`, outermost first
    const auto isArray = [](CFTypeRef object) { return CFGetTypeID(object) == kTypeArray; };
    xml = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\">\n";
    while (value != nullptr && xml.size() <= kPropertyListLargest) {
        AppendIndent(xml, open.size());
        if (CFObject_IsContainer(value)) {
            open.push_back({ value, 0 });
            xml += isArray(value) ? "<array>\n" : "<dict>\n";
        } else if (!AppendScalar(xml, value)) {
            return false;
        }
        value = nullptr;
        while (value == nullptr && !open.empty()) {
            auto& [container, next] = open.back();
            const auto* array = static_cast<CFArrayRef>(container);
            const auto* dictionary = static_cast<CFDictionaryRef>(container);
            if (isArray(container) && next < array->values.size()) {
                value = array->values[next++];
            } else if (!isArray(container) && next < dictionary->entries.size()) {
                const auto& entry = dictionary->entries[next++];
                if (!IsText(entry.key))
                    return false;
                AppendIndent(xml, open.size());
                AppendElement(xml, "key", static_cast<CFStringRef>(entry.key)->Text());
                value = entry.value;
            } else {
                AppendIndent(xml, open.size() - 1);
                xml += isArray(container) ? "</array>\n" : "</dict>\n";
                open.pop_back();
            }
        }
    }
    xml += "</plist>\n";
    return xml.size() <= kPropertyListLargest;
}
