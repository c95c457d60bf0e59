// SPDX-License-Identifier: MIT
#include "xml/XmlHelper.h"

#include <Brennvox10/Failure.h>

namespace Brennvox10 {

namespace {
thread_local std::unique_ptr<XmlHelper> tlsHelper;

void requireNode(const xml::Node &node)
{
    if (node.isNull())
        throw failureFor(FailureNumber::ObjectNotSet);
}
} // namespace

XmlHelper::~XmlHelper() = default;

QString XmlHelper::GetAttribute(const xml::Node &node, const QString &name)
{
    requireNode(node);
    return node.attribute(name).value_or(QString());
}

xml::Node XmlHelper::FindNode(const QString &name, const std::vector<xml::Node> &nodes)
{
    for (const xml::Node &n : nodes)
        if (n.name() == name)
            return n;
    return xml::Node();
}

qint16 XmlHelper::SetAttribute(const QString &name, const QString &value, const xml::Node &node)
{
    requireNode(node);
    node.setAttribute(name, value);
    return 0;
}

XmlHelper &xmlHelper()
{
    if (!tlsHelper)
        tlsHelper = std::make_unique<XmlHelper>();
    return *tlsHelper;
}

void installXmlHelper(std::unique_ptr<XmlHelper> helper)
{
    tlsHelper = std::move(helper);
}

std::vector<xml::Node> childNodesOf(const xml::Node &node)
{
    requireNode(node);
    return node.childNodes();
}

xml::Node parentOf(const xml::Node &node)
{
    requireNode(node);
    return node.parentNode();
}

QString xmlOf(const xml::Node &node)
{
    requireNode(node);
    return node.xml();
}

} // namespace Brennvox10
