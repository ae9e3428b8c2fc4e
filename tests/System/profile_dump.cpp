// SPDX-License-Identifier: MIT
// profile_dump.cpp - for profile_realfiles.py: tells what each profile named on standard input holds, as
// lines of hexadecimal fields, then sets one entry of its first section and closes it.

#include "System/vlProfileFile.h"

#include <cstdio>
#include <iostream>
#include <string>

using namespace Veltrano;

namespace {

void Print(char kind, std::initializer_list<const String*> fields)
{
    putchar(kind);
    for (const String* field : fields) {
        putchar(' ');
        for (int i = 0; i < field->GetLength(); ++i)
            printf("%02x", static_cast<unsigned char>(field->GetAt(i)));
    }
    putchar('\n');
}

} // namespace

int main()
{
    for (std::string path; std::getline(std::cin, path);) {
        ProfileFile file;
        const String name(path.c_str());
        Print(file.Open(name, "r") ? 'F' : 'X', { &name });
        ProfileLineList sections;
        file.GetSections(sections);
        for (ProfileLine* section = sections.head; section; section = section->next) {
            Print('S', { &section->text });
            ProfileLineList list;
            file.GetKeys(list, section->text);
            for (ProfileLine* key = list.head; key; key = key->next) {
                String value;
                const bool bFound = file.GetValue(section->text, key->text, value) != 0;
                Print(bFound ? 'V' : 'K', { &key->text, &value });
            }
            file.GetLines(list, section->text);
            for (ProfileLine* line = list.head; line; line = line->next)
                Print('L', { &line->text });
        }
        if (sections.head != nullptr)
            file.SetValue(sections.head->text, "veltrano key", "a value");
        else
            file.SetValue("veltrano section", "veltrano key", "a value");
    }
}
