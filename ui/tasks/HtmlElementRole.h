#pragma once

#include <QtGlobal>

#include <gumbo.h>

// What an HTML element is to a description.
enum class HtmlElementRole : quint8 {
    transparent, // shows its content as it is
    drop,        // shows nothing, content and all
    block,       // a paragraph of its own
    spacedBlock, // a paragraph set off from its neighbours
    heading,
    pre,
    list,
    item,
    table,
    row,
    cell,
    headerCell,
    lineBreak,
    rule,
    link,
    bold,
    italic,
    underline,
    strikeOut,
};

HtmlElementRole htmlElementRole(GumboTag tag);
