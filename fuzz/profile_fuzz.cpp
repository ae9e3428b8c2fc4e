// SPDX-License-Identifier: MIT
// profile_fuzz.cpp - any text as a profile, beside the model: what is listed, looked up and written back.
#include "System/vlProfileFile.h"
#include "fuzz/MemoryFile.h"
#include "tests/System/ProfileModel.h"

#include <cstdlib>

using namespace Veltrano;

namespace {

void Require(bool condition)
{
    if (!condition)
        abort();
}

std::string TextOf(const String& string)
{
    return std::string(string, static_cast<size_t>(string.GetLength()));
}

void Compare(const ProfileLineList& list, const ProfileModel::Lines& expected)
{
    const ProfileLine* p = list.head;
    for (const std::string& text : expected) {
        Require(p != nullptr && TextOf(p->text) == text);
        p = p->next;
    }
    Require(p == nullptr);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const MemoryFile input(data, size);
    ProfileModel model { ProfileModel::Load(input.Contents()) };
    ProfileFile file;
    Require(file.Open(input.Path(), "r+") != 0);
    ProfileLineList list;
    file.GetSections(list);
    const ProfileModel::Lines names = model.GetSections();
    Compare(list, names);
    for (size_t n = 0; n < names.size() && n < 4; ++n) {
        const std::string section = names[n].c_str();
        file.GetLines(list, section.c_str());
        Compare(list, model.GetLines(section));
        file.GetKeys(list, section.c_str());
        const ProfileModel::Lines keys = model.GetKeys(section);
        Compare(list, keys);
        const std::string key = keys.empty() ? "k" : keys.back().c_str();
        String value;
        Require((file.GetValue(section.c_str(), key.c_str(), value) != 0)
                == model.GetValue(section, key).has_value());
        Require(TextOf(value) == model.GetValue(section, key).value_or(""));
        file.SetValue(section.c_str(), key.c_str(), n % 2 != 0 ? "new" : "");
        model.SetValue(section, key, n % 2 != 0 ? "new" : "");
        file.AddLine(section.c_str(), "a line");
        model.AddLine(section, "a line");
    }
    file.RemoveLine("new section", "a line");
    model.RemoveLine("new section", "a line");
    file.Close();
    Require(input.Contents() == model.Written());
    return 0;
}
