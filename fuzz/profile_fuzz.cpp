// SPDX-License-Identifier: MIT
// profile_fuzz.cpp - any text as a profile: what is listed can be asked for, and an edit leaves the other
// lines as they were.
#include "System/vlProfileFile.h"
#include "fuzz/MemoryFile.h"

#include <algorithm>
#include <cstdlib>
#include <sstream>
#include <vector>

using namespace Veltrano;

namespace {

void Require(bool condition)
{
    if (!condition)
        abort();
}

/// The lines of a text without their ends, in pieces of 1022.
std::vector<std::string> LinesOf(const std::string& text)
{
    std::vector<std::string> lines;
    for (size_t at = 0; at < text.size();) {
        const size_t end = std::min({ text.find('\n', at), at + 1021, text.size() - 1 }) + 1;
        const std::string piece = text.substr(at, end - at);
        lines.push_back(piece.substr(0, piece.find_last_not_of("\r\n") + 1));
        at = end;
    }
    return lines;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const MemoryFile input(data, size);
    ProfileFile file;
    const std::vector<std::string> before = LinesOf(input.Contents());
    Require(file.Open(input.Path(), "r+") != 0);

    ProfileLineList sections;
    file.GetSections(sections);
    int budget = 8;
    for (const ProfileLine* s = sections.head; s != nullptr && budget-- > 0; s = s->next) {
        ProfileLineList keys;
        file.GetKeys(keys, s->text);
        ProfileLineList lines;
        file.GetLines(lines, s->text);
        for (const ProfileLine* k = keys.head; k != nullptr; k = k->next) {
            String value;
            file.GetValue(s->text, k->text, value);
        }
    }
    static const char kSection[] = "fuzz section";
    if (input.Contents().find(kSection) != std::string::npos)
        return 0; // the edit goes into the midst of it
    file.AddLine(kSection, "a new line");
    file.SetValue(kSection, "key", "value");
    file.Close();

    std::istringstream after(input.Contents());
    for (const std::string& line : before) {
        std::string kept;
        Require(static_cast<bool>(std::getline(after, kept)));
        Require(kept == line);
    }
    return 0;
}
