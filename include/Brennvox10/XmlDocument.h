// SPDX-License-Identifier: MIT
#pragma once
/// \file
/// XML documents, as list definitions and filter entries need them: load from a file or from text,
/// walk element children, read the XML text of an element, and change one attribute in the file the
/// document came from without touching any other byte of it. A host hands a Node to
/// ctlFilter::Showme.

#include <Brennvox10/brennvox10_export.h>

#include <QMetaType>
#include <QString>
#include <QStringList>

#include <memory>
#include <optional>
#include <vector>

namespace Brennvox10::xml {

struct DocumentData;

/// A handle to an element or to the document itself; empty handles are safe to ask and answer
/// nothing.
class BRENNVOX10_EXPORT Node {
public:
    /// An empty handle.
    Node() = default;
    /// Whether the handle names nothing.
    bool isNull() const;
    /// The element's name.
    QString name() const;
    /// Element children, in document order (comments and whitespace are not nodes here).
    std::vector<Node> childNodes() const;
    /// The parent element (or the document), or an empty handle.
    Node parentNode() const;
    /// The element with all its content, as XML text.
    QString xml() const;
    /// The attribute's value, or nullopt when the element has none of that name.
    std::optional<QString> attribute(const QString &name) const;
    /// Sets the attribute in the document and, when the document was loaded from a file, in that
    /// file. Throws Failure when the file changed since it was loaded or cannot be replaced.
    void setAttribute(const QString &name, const QString &value) const;

private:
    friend class Document;
    static std::vector<Node> elementChildren(const std::shared_ptr<DocumentData> &doc, void *parent);
    std::shared_ptr<DocumentData> doc;
    void *handle = nullptr; ///< pugi::xml_node_struct*
};

/// An XML document, loaded from a file or from text.
class BRENNVOX10_EXPORT Document {
public:
    /// An empty document: nothing loaded.
    Document();
    /// Destroys the Document.
    ~Document();

    /// False when the file is missing, larger than the cap, not UTF-8/UTF-16, not well-formed, or
    /// has an element with a repeated attribute; errorText() says which.
    bool load(const QString &path);
    /// Loads from text; false when it is not well-formed (errorText() says why).
    bool loadXml(const QString &text);
    /// Why the last load failed; empty after a success.
    QString errorText() const;

    /// The document's top-level element nodes.
    std::vector<Node> childNodes() const;
    /// The first top-level element, or an empty handle.
    Node firstChild() const;

    /// The largest file load() reads, in bytes.
    static constexpr qint64 MaxFileSize = 8 * 1024 * 1024;

private:
    std::shared_ptr<DocumentData> d;
};

} // namespace Brennvox10::xml

Q_DECLARE_METATYPE(Brennvox10::xml::Node)
