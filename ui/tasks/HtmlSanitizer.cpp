#include "HtmlSanitizer.h"

#include "HtmlElementRole.h"

#include <QUrl>

#include <algorithm>
#include <vector>

using namespace Qt::StringLiterals;

namespace {

using Role = HtmlElementRole;

bool isElement(const GumboNode* node) {
    return node->type == GUMBO_NODE_ELEMENT || node->type == GUMBO_NODE_TEMPLATE;
}

bool shown(const GumboNode* node) {
    // Foreign content (SVG, MathML), templates and the prompt text the parser makes up for an
    // <isindex> are never the description's text.
    return node->type == GUMBO_NODE_ELEMENT && node->v.element.tag_namespace == GUMBO_NAMESPACE_HTML &&
           !(node->parse_flags & GUMBO_INSERTION_FROM_ISINDEX) && htmlElementRole(node->v.element.tag) != Role::drop;
}

bool isContinued(const GumboNode* node) {
    return gumbo_get_attribute(&node->v.element.attributes, "continued") != nullptr;
}

GumboNode* bodyOf(GumboOutput* output) {
    const GumboVector& children = output->root->v.element.children;
    for (unsigned i = 0; i < children.length; ++i) {
        auto* child = static_cast<GumboNode*>(children.data[i]);
        if (child->type == GUMBO_NODE_ELEMENT && child->v.element.tag == GUMBO_TAG_BODY)
            return child;
    }
    return nullptr;
}

bool isAsciiSpace(char16_t c) {
    return c == u' ' || c == u'\t' || c == u'\n' || c == u'\r' || c == u'\f';
}

// Characters a text document would read as structure, or that show as nothing but boxes.
bool isDropped(char16_t c) {
    return (c < 0x20 && c != u'\t') || c == 0x7f || c == 0xFDD0 || c == 0xFDD1 || c == 0xFFFC;
}

QByteArray attributeEscaped(const QString& value) {
    QByteArray out = value.toUtf8();
    out.replace("&", "&amp;");
    out.replace("\"", "&quot;");
    return out;
}

} // namespace

HtmlSanitizer::HtmlSanitizer(const QString& html, qsizetype segmentBytes, int segmentTags)
    : m_segmenter(html.toUtf8())
    , m_segmentBytes(segmentBytes)
    , m_segmentTags(segmentTags) {}

QList<DescriptionPiece> HtmlSanitizer::sanitize(const QString& html, qsizetype segmentBytes, int segmentTags) {
    HtmlSanitizer sanitizer(html, segmentBytes, segmentTags);
    QList<DescriptionPiece> out;
    while (!sanitizer.atEnd())
        sanitizer.parseNext(out);
    return out;
}

QString HtmlSanitizer::allowedLink(const QString& href) {
    // Read as a browser reads an address: surrounding controls and spaces go, and so do tabs and
    // line breaks inside it ("java\nscript:" is "javascript:").
    QString address;
    address.reserve(href.size());
    for (const QChar c : href) {
        if (c != u'\t' && c != u'\n' && c != u'\r')
            address.append(c);
    }
    qsizetype begin = 0;
    qsizetype end = address.size();
    while (begin < end && address[begin].unicode() <= 0x20)
        ++begin;
    while (end > begin && address[end - 1].unicode() <= 0x20)
        --end;
    address = address.mid(begin, end - begin);

    const qsizetype colon = address.indexOf(u':');
    if (colon <= 0)
        return QString();
    const QString scheme = address.left(colon).toLower();
    for (qsizetype i = 0; i < scheme.size(); ++i) {
        const char16_t c = scheme[i].unicode();
        const bool letter = c >= u'a' && c <= u'z';
        const bool other = (c >= u'0' && c <= u'9') || c == u'+' || c == u'-' || c == u'.';
        if (!letter && !(i > 0 && other))
            return QString();
    }
    if (scheme != u"http" && scheme != u"https" && scheme != u"mailto" && scheme != u"tg")
        return QString();
    const QUrl url(address, QUrl::TolerantMode);
    if (!url.isValid() || url.scheme() != scheme)
        return QString();
    if ((scheme == u"http" || scheme == u"https") && url.host().isEmpty())
        return QString();
    return url.toString(QUrl::FullyEncoded);
}

void HtmlSanitizer::parseNext(QList<DescriptionPiece>& out) {
    if (atEnd())
        return;
    const QByteArray piece = m_segmenter.next(m_segmentBytes, m_segmentTags);
    QByteArray input;
    if (m_first) {
        input = piece;
    } else {
        // The body is opened by hand so that white space at the start of the piece counts.
        input.reserve(piece.size() + m_prefix.size() + 8);
        input.append("<body>");
        input.append(m_prefix);
        // A line break right after <pre> is dropped by the parser; this one belongs to the text.
        if ((m_prefix.endsWith("<pre continued>") || m_prefix.endsWith("<listing continued>")) &&
            piece.startsWith('\n'))
            input.append('\n');
        input.append(piece);
    }
    // A space after the piece finds out where text would go next: the parser puts it inside every
    // element still open and every formatting element it would reopen (as after "<p><i>a<p>").
    // Its ancestors are what the next piece has to start inside.
    const bool more = !atEnd();
    if (more)
        input.append(' ');
    m_first = false;
    m_links.clear();
    m_listOf.clear();
    m_looseLists.clear();
    m_nextCarriedList = 0;

    GumboOptions options = kGumboDefaultOptions;
    options.max_errors = 0;
    GumboOutput* output = gumbo_parse_with_options(&options, input.constData(), size_t(input.size()));
    std::vector<GumboNode*> open;
    if (GumboNode* body = bodyOf(output))
        walk(body, qsizetype(input.size()), out, more ? &open : nullptr);
    carryOver(open);
    gumbo_destroy_output(&options, output);
}

void HtmlSanitizer::walk(GumboNode* body, qsizetype parsedLength, QList<DescriptionPiece>& out,
                         std::vector<GumboNode*>* open) {
    struct Frame {
        GumboNode* node;
        unsigned next;
        Role role;
        Context context;
    };
    // Elements still open where this piece ends go on in the next one: they end nothing yet.
    const auto leave = [&](const Frame& frame) {
        if (!atEnd() && frame.node->v.element.end_pos.offset == unsigned(parsedLength))
            return;
        switch (frame.role) {
        case Role::block:
        case Role::row:
            boundary(false);
            break;
        case Role::spacedBlock:
        case Role::heading:
        case Role::pre:
        case Role::table:
            boundary(true);
            break;
        case Role::item:
            boundary(false, true);
            break;
        case Role::list:
            boundary(frame.context.list.depth == 1, true);
            break;
        default:
            break;
        }
    };

    std::vector<Frame> stack;
    stack.push_back(Frame{body, 0, Role::transparent, Context{}});
    while (!stack.empty()) {
        Frame& top = stack.back();
        const GumboVector& children = top.node->v.element.children;
        if (top.next >= children.length) {
            leave(top);
            stack.pop_back();
            continue;
        }
        GumboNode* child = static_cast<GumboNode*>(children.data[top.next++]);
        const Context parent = top.context;
        if (child->type == GUMBO_NODE_TEXT || child->type == GUMBO_NODE_WHITESPACE) {
            const GumboText& node = child->v.text;
            QByteArray utf8 = QByteArray::fromRawData(node.text, qsizetype(qstrlen(node.text)));
            if (open && node.start_pos.offset + node.original_text.length == size_t(parsedLength) &&
                utf8.endsWith(' ')) {
                utf8.chop(1); // the space put after the piece
                for (size_t i = 1; i < stack.size(); ++i)
                    open->push_back(stack[i].node);
            }
            if (!parent.hidden)
                text(utf8, parent, out);
            continue;
        }
        if (!isElement(child))
            continue;
        if (parent.hidden || !shown(child)) {
            // Walked all the same, only to learn whether the next piece starts inside it.
            if (open) {
                Context hidden = parent;
                hidden.hidden = true;
                stack.push_back(Frame{child, 0, Role::drop, hidden});
            }
            continue;
        }

        const Role role = htmlElementRole(child->v.element.tag);
        const bool continued = isContinued(child);
        Context context = parent;
        switch (role) {
        case Role::bold:
            context.format |= DescriptionPiece::bold;
            break;
        case Role::italic:
            context.format |= DescriptionPiece::italic;
            break;
        case Role::underline:
            context.format |= DescriptionPiece::underline;
            break;
        case Role::strikeOut:
            context.format |= DescriptionPiece::strikeOut;
            break;
        case Role::link: {
            const GumboAttribute* href = gumbo_get_attribute(&child->v.element.attributes, "href");
            const QString address = href ? allowedLink(QString::fromUtf8(href->value)) : QString();
            if (address.isEmpty()) {
                context.link = -1;
            } else {
                context.link = qint32(m_links.size());
                m_links.append(address);
            }
            break;
        }
        case Role::lineBreak:
            lineBreak(parent, out);
            continue;
        case Role::rule:
            boundary(true);
            continue;
        case Role::block:
        case Role::row:
            if (!continued)
                boundary(false);
            if (role == Role::row && !continued)
                m_cellsInRow = 0;
            break;
        case Role::heading:
            context.format |= DescriptionPiece::bold;
            if (!continued)
                boundary(true);
            break;
        case Role::pre:
            context.pre = true;
            if (!continued)
                boundary(true);
            break;
        case Role::spacedBlock:
        case Role::table:
            if (!continued)
                boundary(true);
            break;
        case Role::list: {
            ListRef list;
            if (continued && m_nextCarriedList < m_carriedLists.size()) {
                list = m_carriedLists[m_nextCarriedList++];
            } else if (parent.list.depth < maxListDepth) {
                list = ListRef{m_nextListId++, quint8(parent.list.depth + 1), child->v.element.tag == GUMBO_TAG_OL};
            } else {
                list = parent.list; // too deep: its items join the deepest list
            }
            context.list = list;
            m_listOf.insert(child, list);
            if (!continued)
                boundary(list.depth == 1 && parent.list.depth == 0, true);
            break;
        }
        case Role::item:
            if (context.list.depth == 0) {
                // An item outside any list still reads as one; its siblings share the list.
                auto found = m_looseLists.find(top.node);
                if (found == m_looseLists.end())
                    found = m_looseLists.insert(top.node, ListRef{m_nextListId++, 1, false});
                context.list = *found;
            }
            if (!continued) {
                boundary(false, true);
                m_pendingItem = true;
                m_pendingItemList = context.list;
            }
            break;
        case Role::cell:
        case Role::headerCell:
            if (role == Role::headerCell)
                context.format |= DescriptionPiece::bold;
            // Cells of a row read as one line, a space apart.
            if (!continued && m_cellsInRow > 0 && m_lineHasContent) {
                m_pendingSpace = true;
                m_spaceFormat = 0;
                m_spaceLink.clear();
            }
            ++m_cellsInRow;
            break;
        case Role::transparent:
        case Role::drop:
            break;
        }
        stack.push_back(Frame{child, 0, role, context});
    }
}

void HtmlSanitizer::carryOver(const std::vector<GumboNode*>& spine) {
    m_prefix.clear();
    m_carriedLists.clear();
    // The innermost elements are reopened as they were, so that the end tags to come close what
    // they closed before. Of the ones further out only what shows is reopened: lists with an item
    // each, and each kind of formatting once. Either way the reopening stays a few dozen tags.
    constexpr qsizetype reopened = 32;
    qsizetype shownCount = 0;
    while (shownCount < qsizetype(spine.size()) && shown(spine[size_t(shownCount)]))
        ++shownCount;
    const qsizetype windowStart = qMax<qsizetype>(0, shownCount - reopened);

    bool listSinceItem = false;
    quint8 formats = 0;
    bool link = false;
    // Each list reopened takes its place in m_carriedLists, in order: that is how the next piece
    // knows them again.
    const auto reopenList = [&](GumboNode* node, bool once) {
        const ListRef list = m_listOf.value(node);
        const bool known = std::any_of(m_carriedLists.cbegin(), m_carriedLists.cend(),
                                       [&](const ListRef& carried) { return carried.id == list.id; });
        if ((once && known) || list.id < 0)
            return false;
        m_carriedLists.append(list);
        m_prefix.append(list.ordered ? "<ol continued>" : "<ul continued>");
        return true;
    };
    const auto linkAddress = [](GumboNode* node) {
        const GumboAttribute* href = gumbo_get_attribute(&node->v.element.attributes, "href");
        return href ? allowedLink(QString::fromUtf8(href->value)) : QString();
    };
    for (qsizetype i = 0; i < windowStart; ++i) {
        GumboNode* node = spine[size_t(i)];
        const auto reopenFormat = [&](quint8 format, const char* tag) {
            if (!(formats & format)) {
                formats |= format;
                m_prefix.append(tag);
            }
        };
        switch (htmlElementRole(node->v.element.tag)) {
        case Role::bold:
        case Role::heading:
        case Role::headerCell:
            reopenFormat(DescriptionPiece::bold, "<b>");
            break;
        case Role::italic:
            reopenFormat(DescriptionPiece::italic, "<i>");
            break;
        case Role::underline:
            reopenFormat(DescriptionPiece::underline, "<u>");
            break;
        case Role::strikeOut:
            reopenFormat(DescriptionPiece::strikeOut, "<s>");
            break;
        case Role::link:
            if (!link) {
                link = true;
                const QString address = linkAddress(node);
                if (!address.isEmpty())
                    m_prefix.append("<a href=\"").append(attributeEscaped(address)).append("\">");
            }
            break;
        case Role::list:
            if (reopenList(node, true))
                listSinceItem = true;
            break;
        case Role::item:
            if (listSinceItem) {
                m_prefix.append("<li continued>");
                listSinceItem = false;
            }
            break;
        default:
            break;
        }
    }
    for (qsizetype i = windowStart; i < qsizetype(spine.size()); ++i) {
        GumboNode* node = spine[size_t(i)];
        const char* name = gumbo_normalized_tagname(node->v.element.tag);
        if (!shown(node)) {
            // What is inside a dropped element stays dropped until it ends.
            if (node->type == GUMBO_NODE_TEMPLATE)
                m_prefix.append("<template>");
            else if (node->v.element.tag_namespace == GUMBO_NAMESPACE_SVG)
                m_prefix.append("<svg>");
            else if (node->v.element.tag_namespace == GUMBO_NAMESPACE_MATHML)
                m_prefix.append("<math>");
            else if (*name)
                m_prefix.append('<').append(name).append('>');
            break;
        }
        switch (htmlElementRole(node->v.element.tag)) {
        case Role::list:
            reopenList(node, false);
            break;
        case Role::link: {
            const QString address = linkAddress(node);
            m_prefix.append("<a continued");
            if (!address.isEmpty())
                m_prefix.append(" href=\"").append(attributeEscaped(address)).append('"');
            m_prefix.append('>');
            break;
        }
        default:
            // Elements the parser does not know all match one another's end tags.
            m_prefix.append('<').append(*name ? name : "x-element").append(" continued>");
            break;
        }
    }
}

void HtmlSanitizer::boundary(bool spaced, bool endsItem) {
    m_blockPending = true;
    m_pendingSpaced = m_pendingSpaced || spaced;
    m_pendingSpace = false;
    if (endsItem)
        m_pendingItem = false;
}

void HtmlSanitizer::ensureBlock(const Context& context, QList<DescriptionPiece>& out) {
    if (!m_blockPending)
        return;
    DescriptionPiece block;
    block.kind = DescriptionPiece::Kind::block;
    const ListRef list = m_pendingItem ? m_pendingItemList : context.list;
    // The items of one list sit close together; the list as a whole stands apart.
    block.spaced = m_pendingSpaced && m_anyBlock && !(m_pendingItem && list.id == m_lastItemList);
    block.listItem = m_pendingItem;
    block.listId = list.id;
    block.listDepth = list.depth;
    block.ordered = list.ordered;
    if (m_pendingItem)
        m_lastItemList = list.id;
    out.append(block);
    m_blockPending = false;
    m_pendingSpaced = false;
    m_pendingItem = false;
    m_anyBlock = true;
    m_lineHasContent = false;
}

void HtmlSanitizer::flushSpace(QList<DescriptionPiece>& out) {
    if (!m_pendingSpace)
        return;
    m_pendingSpace = false;
    if (!m_lineHasContent)
        return;
    if (!out.isEmpty()) {
        DescriptionPiece& last = out.last();
        if (last.kind == DescriptionPiece::Kind::text && last.format == m_spaceFormat && last.href == m_spaceLink) {
            last.text.append(u' ');
            return;
        }
    }
    DescriptionPiece space;
    space.format = m_spaceFormat;
    space.href = m_spaceLink;
    space.text = u" "_s;
    out.append(space);
}

void HtmlSanitizer::appendText(const QString& text, const Context& context, QList<DescriptionPiece>& out) {
    if (text.isEmpty())
        return;
    ensureBlock(context, out);
    flushSpace(out);
    const QString& href = context.link >= 0 ? m_links[context.link] : QString();
    if (!out.isEmpty()) {
        DescriptionPiece& last = out.last();
        if (last.kind == DescriptionPiece::Kind::text && last.format == context.format && last.href == href) {
            last.text.append(text);
            m_lineHasContent = true;
            if (!m_sawText)
                m_sawText = std::any_of(text.cbegin(), text.cend(), [](QChar c) { return !c.isSpace(); });
            return;
        }
    }
    DescriptionPiece piece;
    piece.format = context.format;
    piece.href = href;
    piece.text = text;
    out.append(piece);
    m_lineHasContent = true;
    if (!m_sawText)
        m_sawText = std::any_of(text.cbegin(), text.cend(), [](QChar c) { return !c.isSpace(); });
}

void HtmlSanitizer::lineBreak(const Context& context, QList<DescriptionPiece>& out) {
    ensureBlock(context, out);
    m_pendingSpace = false;
    DescriptionPiece piece;
    piece.kind = DescriptionPiece::Kind::lineBreak;
    out.append(piece);
    m_lineHasContent = false;
}

void HtmlSanitizer::text(const QByteArray& utf8, const Context& context, QList<DescriptionPiece>& out) {
    const QString decoded = QString::fromUtf8(utf8);
    QString run;
    run.reserve(decoded.size());
    const auto flush = [&] {
        appendText(run, context, out);
        run.clear();
    };
    for (const QChar c : decoded) {
        const char16_t u = c.unicode();
        if (u == u'\n' && context.pre) {
            flush();
            lineBreak(context, out);
        } else if (u == 0x2028 || u == 0x2029) {
            flush();
            lineBreak(context, out);
        } else if (isAsciiSpace(u) && !context.pre) {
            flush();
            // Runs of white space read as one space, and none at the start of a line.
            if (m_lineHasContent && !m_blockPending && !m_pendingSpace) {
                m_pendingSpace = true;
                m_spaceFormat = context.format;
                m_spaceLink = context.link >= 0 ? m_links[context.link] : QString();
            }
        } else if (u == u'\r' || isDropped(u)) {
            continue;
        } else {
            run.append(c);
        }
    }
    flush();
}
