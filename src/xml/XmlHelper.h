// SPDX-License-Identifier: MIT
#pragma once
// Every node lookup and attribute access of a list definition goes through this helper, one instance
// per thread. A missing node is an empty handle; using it where an element is needed is Failure 91.

#include <Brennvox10/XmlDocument.h>

#include <memory>
#include <vector>

namespace Brennvox10 {

class XmlHelper {
public:
    virtual ~XmlHelper();
    // The attribute's text; empty text when the node has no such attribute. Failure 91 on an empty
    // node.
    virtual QString GetAttribute(const xml::Node &node, const QString &name);
    // The first node of that name in the list, or an empty node.
    virtual xml::Node FindNode(const QString &name, const std::vector<xml::Node> &nodes);
    // Sets the attribute and writes it through to the file the document came from (only that
    // attribute's bytes change, atomically). Failure 91 on an empty node; Failure when the file
    // cannot be written or changed since it was read.
    virtual qint16 SetAttribute(const QString &name, const QString &value, const xml::Node &node);
};

XmlHelper &xmlHelper();
void installXmlHelper(std::unique_ptr<XmlHelper> helper);

// Children of an element; Failure 91 on an empty node, as any use of a missing element.
std::vector<xml::Node> childNodesOf(const xml::Node &node);
xml::Node parentOf(const xml::Node &node);
QString xmlOf(const xml::Node &node);

} // namespace Brennvox10
