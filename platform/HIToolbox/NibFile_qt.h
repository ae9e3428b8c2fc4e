// SPDX-License-Identifier: MIT
// NibFile_qt.h - an interface file, read into objects with properties. References stay ids and are followed only
// when they are used.
#pragma once

#include <CoreServices/MacTypes.h>

#include <QtCore/QHash>
#include <QtCore/QRect>
#include <QtCore/QString>

#include <memory>
#include <optional>
#include <unordered_map>

class QXmlStreamReader;

struct NibObject
{
    QString className;
    QHash<QString, QString> values; // texts, numbers and truth values as written
    QHash<QString, int> objects; // ids
    QHash<QString, QList<int>> arrays; // ids
    QHash<QString, QHash<QString, int>> tables; // names to ids

    bool Has(const char* name) const;
    QString Text(const char* name) const;
    int Number(const char* name, int absent = 0) const;
    bool IsTrue(const char* name, bool absent = false) const;
    /// Four MacRoman characters, blanks among them; 0 for any other text.
    OSType Code(const char* name) const;
    /// "top left bottom right", in the range of the API's coordinates.
    std::optional<QRect> Rectangle(const char* name) const;
};

class NibFile
{
public:
    /// Reads a file. Null if it is no Carbon interface file, is damaged, or exceeds the limits.
    static std::unique_ptr<NibFile> Read(const QString& path);

    /// Null for an unknown id.
    const NibObject* Find(int id) const;
    /// Looks an object up in the file's table of names.
    const NibObject* FindNamed(const QString& name) const;

    static constexpr int kMaxDepth = 100;

private:
    int ReadObject(QXmlStreamReader& xml, int depth);
    void ReadProperty(QXmlStreamReader& xml, NibObject& object, int depth);
    int ReadLink(QXmlStreamReader& xml, int depth);
    QHash<QString, int> ReadTable(QXmlStreamReader& xml, int depth);
    void CountEntry(QXmlStreamReader& xml);

    std::unordered_map<int, NibObject> m_objects;
    int m_root = 0;
    int m_nextOwnId = -1;
    int m_entries = 0; // properties and references
};
