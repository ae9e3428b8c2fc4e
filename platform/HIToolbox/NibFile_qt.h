// SPDX-License-Identifier: MIT
// NibFile_qt.h - an interface file, read into a tree of elements. References are followed only when they are used.
#pragma once

#include <CoreServices/MacTypes.h>

#include <QtCore/QRect>
#include <QtCore/QString>

#include <memory>
#include <optional>
#include <unordered_map>
#include <vector>

/// An object, or a property of one.
struct NibElement
{
    QString kind; // "object", "reference", "array", "dictionary", "string" ...
    QString name; // of a property
    QString className; // of an object
    int id = 0; // of an object, or of the one that a reference means; 0 for none
    QString text; // of a text, a number or a truth value as written
    std::vector<NibElement>
        children; // an object's properties, an array's or a dictionary's content

    /// Null for an absent property.
    const NibElement* Property(const char* property) const;
    bool Has(const char* property) const { return Property(property) != nullptr; }
    QString Text(const char* property) const;
    int Number(const char* property, int absent = 0) const;
    bool IsTrue(const char* property, bool absent = false) const;
    /// Four MacRoman characters, blanks among them; 0 for any other text.
    OSType Code(const char* property) const;
    /// "top left bottom right", in the range of the API's coordinates.
    std::optional<QRect> Rectangle(const char* property) const;
};

class NibFile
{
public:
    /// Reads a file. Null if it is no Carbon interface file, is damaged, or exceeds the limits.
    static std::unique_ptr<NibFile> Read(const QString& path);

    /// The object that an element is or refers to; null for any other element, and for null.
    const NibElement* Resolve(const NibElement* element) const;
    /// Looks an object up in the file's table of names.
    const NibElement* FindNamed(const QString& name) const;

private:
    void Index(const NibElement& element);

    NibElement m_root;
    std::unordered_map<int, const NibElement*> m_objects; // by id
};
