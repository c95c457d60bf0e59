// SPDX-License-Identifier: MIT
#include <Brennvox10/XmlDocument.h>

#include <Brennvox10/Failure.h>

#include <QFile>
#include <QFileInfo>
#include <QSaveFile>
#include <QStringDecoder>
#include <QStringEncoder>

#include <pugixml.hpp>

#include <fcntl.h>
#include <unistd.h>

#include <set>
#include <sstream>
#include <string>

namespace Brennvox10::xml {

enum class Encoding { Utf8, Utf8Bom, Utf16LE, Utf16BE };

struct DocumentData {
    pugi::xml_document doc;
    std::string utf8; // the text pugixml parsed, kept so attribute edits can be made in place
    QString path; // empty for documents loaded from text
    QByteArray fileBytes; // the file as it was read, to notice changes made by others
    Encoding encoding = Encoding::Utf8;
    QString error;
    // Edits made to utf8 since it was parsed (position at the time, size change), to map pugixml's
    // offsets into the current text without re-parsing, which would invalidate live handles.
    std::vector<std::pair<size_t, ptrdiff_t>> edits;

    size_t currentOffset(size_t parsed) const
    {
        for (const auto &[pos, delta] : edits)
            if (parsed > pos)
                parsed = size_t(ptrdiff_t(parsed) + delta);
        return parsed;
    }
};

namespace {

pugi::xml_node toNode(void *h)
{
    return pugi::xml_node(static_cast<pugi::xml_node_struct *>(h));
}

QString fromUtf8(const char *s)
{
    return QString::fromUtf8(s);
}

bool decode(const QByteArray &bytes, Encoding &enc, std::string &utf8, QString &error)
{
    QStringDecoder::Encoding qenc = QStringDecoder::Utf8;
    qsizetype skip = 0;
    enc = Encoding::Utf8;
    if (bytes.startsWith("\xEF\xBB\xBF")) {
        enc = Encoding::Utf8Bom;
        skip = 3;
    } else if (bytes.startsWith("\xFF\xFE")) {
        enc = Encoding::Utf16LE;
        qenc = QStringDecoder::Utf16LE;
        skip = 2;
    } else if (bytes.startsWith("\xFE\xFF")) {
        enc = Encoding::Utf16BE;
        qenc = QStringDecoder::Utf16BE;
        skip = 2;
    }
    QStringDecoder decoder(qenc, QStringDecoder::Flag::Stateless);
    const QString text = decoder.decode(QByteArrayView(bytes).sliced(skip));
    if (decoder.hasError()) {
        error = QStringLiteral("the file is not valid UTF-8 or UTF-16");
        return false;
    }
    const QByteArray u = text.toUtf8();
    utf8.assign(u.constData(), size_t(u.size()));
    return true;
}

QByteArray encode(const std::string &utf8, Encoding enc)
{
    const QString text = QString::fromUtf8(utf8.data(), qsizetype(utf8.size()));
    switch (enc) {
    case Encoding::Utf8:
        return QByteArray(utf8.data(), qsizetype(utf8.size()));
    case Encoding::Utf8Bom:
        return QByteArray("\xEF\xBB\xBF") + QByteArray(utf8.data(), qsizetype(utf8.size()));
    case Encoding::Utf16LE: {
        QStringEncoder e(QStringEncoder::Utf16LE);
        return QByteArray("\xFF\xFE") + QByteArray(e.encode(text));
    }
    case Encoding::Utf16BE: {
        QStringEncoder e(QStringEncoder::Utf16BE);
        return QByteArray("\xFE\xFF") + QByteArray(e.encode(text));
    }
    }
    return {};
}

// A repeated attribute would otherwise silently read as its first occurrence.
bool hasDuplicateAttribute(const pugi::xml_node &root, QString &which)
{
    for (pugi::xml_node n = root; n;) {
        if (n.type() == pugi::node_element) {
            std::set<std::string> seen;
            for (pugi::xml_attribute a = n.first_attribute(); a; a = a.next_attribute()) {
                if (!seen.insert(a.name()).second) {
                    which = fromUtf8(n.name()) + QLatin1Char('@') + fromUtf8(a.name());
                    return true;
                }
            }
        }
        if (n.first_child())
            n = n.first_child();
        else {
            while (n && !n.next_sibling() && n != root)
                n = n.parent();
            if (!n || n == root)
                break;
            n = n.next_sibling();
        }
    }
    return false;
}

bool parse(DocumentData &d)
{
    d.doc.reset();
    const pugi::xml_parse_result r = d.doc.load_buffer(
        d.utf8.data(), d.utf8.size(), pugi::parse_default | pugi::parse_declaration, pugi::encoding_utf8);
    if (!r) {
        d.error = QStringLiteral("%1 at offset %2").arg(fromUtf8(r.description())).arg(qint64(r.offset));
        return false;
    }
    if (!d.doc.document_element()) {
        d.error = QStringLiteral("no root element");
        return false;
    }
    QString which;
    if (hasDuplicateAttribute(d.doc, which)) {
        d.error = QStringLiteral("repeated attribute %1").arg(which);
        return false;
    }
    return true;
}

std::string serialise(const pugi::xml_node &n)
{
    std::ostringstream out;
    n.print(out, "", pugi::format_raw);
    return out.str();
}

std::string escapeAttribute(const std::string &value, char quote)
{
    std::string out;
    out.reserve(value.size());
    for (char c : value) {
        switch (c) {
        case '&':
            out += "&amp;";
            break;
        case '<':
            out += "&lt;";
            break;
        case '"':
            out += quote == '"' ? "&quot;" : "\"";
            break;
        case '\'':
            out += quote == '\'' ? "&apos;" : "'";
            break;
        case '\n':
            out += "&#10;";
            break;
        case '\r':
            out += "&#13;";
            break;
        case '\t':
            out += "&#9;";
            break;
        default:
            out += c;
        }
    }
    return out;
}

bool isSpace(char c)
{
    return c == ' ' || c == '\t' || c == '\n' || c == '\r';
}

// Finds the value of attribute `name` in the start tag that begins at `tagStart` ('<'), or the
// place to insert it. Returns false when the tag cannot be read.
bool locateAttribute(const std::string &text, size_t tagStart, const std::string &name, size_t &valueBegin,
    size_t &valueEnd, char &quote, size_t &insertAt)
{
    size_t i = tagStart + 1;
    while (i < text.size() && !isSpace(text[i]) && text[i] != '>' && text[i] != '/')
        ++i;
    for (;;) {
        while (i < text.size() && isSpace(text[i]))
            ++i;
        if (i >= text.size())
            return false;
        if (text[i] == '>' || text[i] == '/') {
            insertAt = i;
            valueBegin = valueEnd = std::string::npos;
            return true;
        }
        const size_t nameBegin = i;
        while (i < text.size() && !isSpace(text[i]) && text[i] != '=')
            ++i;
        const std::string attr = text.substr(nameBegin, i - nameBegin);
        while (i < text.size() && isSpace(text[i]))
            ++i;
        if (i >= text.size() || text[i] != '=')
            return false;
        ++i;
        while (i < text.size() && isSpace(text[i]))
            ++i;
        if (i >= text.size() || (text[i] != '"' && text[i] != '\''))
            return false;
        const char q = text[i++];
        const size_t vb = i;
        while (i < text.size() && text[i] != q)
            ++i;
        if (i >= text.size())
            return false;
        if (attr == name) {
            valueBegin = vb;
            valueEnd = i;
            quote = q;
            return true;
        }
        ++i;
    }
}

void syncFolder(const QString &path)
{
    const QByteArray dir = QFile::encodeName(QFileInfo(path).absolutePath());
    const int fd = ::open(dir.constData(), O_RDONLY | O_DIRECTORY);
    if (fd >= 0) {
        ::fsync(fd);
        ::close(fd);
    }
}

Failure saveFailure(const QString &why)
{
    const QString source = QStringLiteral("Brennvox10.XmlHelper");
    const Failure standard = failureFor(FailureNumber::PathFileAccessError, source);
    return Failure(standard.number(), standard.description() + QStringLiteral(": ") + why, source);
}

// The '<' of the element's start tag in the text as edited so far.
size_t startTagOffset(const DocumentData &d, const pugi::xml_node &node)
{
    const ptrdiff_t parsedOffset = node.offset_debug();
    if (parsedOffset < 0)
        throw saveFailure(QStringLiteral("element position unknown"));
    size_t tagStart = d.currentOffset(size_t(parsedOffset));
    if (tagStart >= d.utf8.size())
        throw saveFailure(QStringLiteral("element position unknown"));
    while (tagStart > 0 && d.utf8[tagStart] != '<')
        --tagStart;
    if (d.utf8[tagStart] != '<')
        throw saveFailure(QStringLiteral("element position unknown"));
    return tagStart;
}

struct Splice {
    std::string text;
    std::pair<size_t, ptrdiff_t> edit; // as DocumentData::edits records it
};

// Edits only this attribute's bytes: a re-serialised document would lose the author's comments,
// quoting and spacing.
Splice spliceAttribute(
    const std::string &text, size_t tagStart, const std::string &name, const std::string &value)
{
    size_t vb = 0, ve = 0, insertAt = 0;
    char quote = '"';
    if (!locateAttribute(text, tagStart, name, vb, ve, quote, insertAt))
        throw saveFailure(QStringLiteral("cannot read the element's tag"));
    Splice s { text, {} };
    if (vb != std::string::npos) {
        const std::string escaped = escapeAttribute(value, quote);
        s.text.replace(vb, ve - vb, escaped);
        s.edit = { vb, ptrdiff_t(escaped.size()) - ptrdiff_t(ve - vb) };
    } else {
        const std::string inserted = " " + name + "=\"" + escapeAttribute(value, '"') + "\"";
        s.text.insert(insertAt, inserted);
        s.edit = { insertAt, ptrdiff_t(inserted.size()) };
    }
    return s;
}

// The attribute set in the loaded tree, which then serialises as the edited file should read;
// undone when the edit cannot be saved.
class TreeChange {
public:
    TreeChange(pugi::xml_node node, const std::string &name, const std::string &value)
        : m_node(node)
        , m_attribute(node.attribute(name.c_str()))
        , m_existed(bool(m_attribute))
        , m_previous(m_existed ? std::string(m_attribute.value()) : std::string())
    {
        if (!m_attribute)
            m_attribute = node.append_attribute(name.c_str());
        m_attribute.set_value(value.c_str());
    }
    void undo()
    {
        if (m_existed)
            m_attribute.set_value(m_previous.c_str());
        else
            m_node.remove_attribute(m_attribute);
    }

private:
    pugi::xml_node m_node;
    pugi::xml_attribute m_attribute;
    bool m_existed;
    std::string m_previous;
};

// The edited text must parse to the loaded tree with just this attribute changed.
void requireReadsBack(const DocumentData &d, const std::string &edited)
{
    const std::string expected = serialise(d.doc);
    DocumentData check;
    check.utf8 = edited;
    if (!parse(check) || serialise(check.doc) != expected)
        throw saveFailure(QStringLiteral("the edited document would not read back as expected"));
}

void requireUnchangedOnDisk(const DocumentData &d)
{
    QFile current(d.path);
    if (!current.open(QIODevice::ReadOnly) || current.size() > Document::MaxFileSize
        || current.readAll() != d.fileBytes)
        throw saveFailure(QStringLiteral("the file changed since it was read"));
}

// Replaces the file whole or not at all, keeping its permissions; returns the bytes written.
QByteArray writeFile(const QString &path, const std::string &utf8, Encoding encoding)
{
    const QFileDevice::Permissions permissions = QFile::permissions(path);
    const QByteArray bytes = encode(utf8, encoding);
    QSaveFile out(path);
    if (!out.open(QIODevice::WriteOnly) || out.write(bytes) != bytes.size() || !out.commit())
        throw saveFailure(out.errorString());
    QFile::setPermissions(path, permissions);
    syncFolder(path);
    return bytes;
}

} // namespace

bool Node::isNull() const
{
    return !doc || !handle;
}

QString Node::name() const
{
    return isNull() ? QString() : fromUtf8(toNode(handle).name());
}

std::vector<Node> Node::elementChildren(const std::shared_ptr<DocumentData> &doc, void *parent)
{
    std::vector<Node> out;
    for (pugi::xml_node c = toNode(parent).first_child(); c; c = c.next_sibling()) {
        if (c.type() != pugi::node_element)
            continue;
        Node n;
        n.doc = doc;
        n.handle = c.internal_object();
        out.push_back(n);
    }
    return out;
}

std::vector<Node> Node::childNodes() const
{
    return isNull() ? std::vector<Node>() : elementChildren(doc, handle);
}

Node Node::parentNode() const
{
    Node n;
    if (isNull())
        return n;
    const pugi::xml_node p = toNode(handle).parent();
    if (p && p.type() == pugi::node_element) {
        n.doc = doc;
        n.handle = p.internal_object();
    }
    return n;
}

QString Node::xml() const
{
    if (isNull())
        return QString();
    const std::string s = serialise(toNode(handle));
    return QString::fromUtf8(s.data(), qsizetype(s.size()));
}

std::optional<QString> Node::attribute(const QString &name) const
{
    if (isNull())
        return std::nullopt;
    const QByteArray n = name.toUtf8();
    const pugi::xml_attribute a = toNode(handle).attribute(n.constData());
    if (!a)
        return std::nullopt;
    return fromUtf8(a.value());
}

void Node::setAttribute(const QString &name, const QString &value) const
{
    if (isNull())
        throw failureFor(FailureNumber::ObjectNotSet);
    DocumentData &d = *doc;
    const std::string n = name.toStdString();
    const QByteArray v8 = value.toUtf8();
    const std::string v(v8.constData(), size_t(v8.size()));
    pugi::xml_node node = toNode(handle);

    if (d.path.isEmpty()) {
        (node.attribute(n.c_str()) ? node.attribute(n.c_str()) : node.append_attribute(n.c_str()))
            .set_value(v.c_str());
        return;
    }

    Splice splice = spliceAttribute(d.utf8, startTagOffset(d, node), n, v);
    TreeChange change(node, n, v);
    QByteArray bytes;
    try {
        requireReadsBack(d, splice.text);
        requireUnchangedOnDisk(d);
        bytes = writeFile(d.path, splice.text, d.encoding);
    } catch (const Failure &) {
        change.undo();
        throw;
    }

    // Keep the document in step with the file so later edits start from what is on disk.
    d.fileBytes = bytes;
    d.utf8 = std::move(splice.text);
    d.edits.push_back(splice.edit);
}

Document::Document()
    : d(std::make_shared<DocumentData>())
{
}
Document::~Document() = default;

bool Document::load(const QString &path)
{
    d = std::make_shared<DocumentData>();
    QFile f(path);
    if (!QFileInfo(path).isFile() || !f.open(QIODevice::ReadOnly)) {
        d->error = QStringLiteral("cannot open %1").arg(path);
        return false;
    }
    if (f.size() > MaxFileSize) {
        d->error = QStringLiteral("%1 is larger than %2 bytes").arg(path).arg(MaxFileSize);
        return false;
    }
    d->fileBytes = f.readAll();
    if (!decode(d->fileBytes, d->encoding, d->utf8, d->error) || !parse(*d))
        return false;
    d->path = QFileInfo(path).absoluteFilePath();
    return true;
}

bool Document::loadXml(const QString &text)
{
    d = std::make_shared<DocumentData>();
    const QByteArray u = text.toUtf8();
    d->utf8.assign(u.constData(), size_t(u.size()));
    return parse(*d);
}

QString Document::errorText() const
{
    return d->error;
}

std::vector<Node> Document::childNodes() const
{
    return Node::elementChildren(d, d->doc.internal_object());
}

Node Document::firstChild() const
{
    const auto children = childNodes();
    return children.empty() ? Node() : children.front();
}

} // namespace Brennvox10::xml
