#pragma once

#include <QByteArray>

/// PDF files as bytes, some of them made to hurt whoever shows them. None has a table of its objects: every
/// reader then finds them by itself.
namespace Orvane::Tests::Documents {

inline QByteArray Stream(const QByteArray& dictionary, const QByteArray& content)
{
    return "<<" + dictionary + "/Length " + QByteArray::number(content.size()) + ">>stream\n" + content +
           "\nendstream";
}

/// An A4 page, its lower left quarter red unless it has other content.
inline QByteArray A4Page(const QByteArray& entries = {},
                         const QByteArray& content = Stream({}, "1 0 0 rg 0 0 297 421 re f"))
{
    return "%PDF-1.7\n"
           "1 0 obj <</Type/Catalog/Pages 2 0 R>> endobj\n"
           "2 0 obj <</Type/Pages/Kids[3 0 R]/Count 1>> endobj\n"
           "3 0 obj <</Type/Page/Parent 2 0 R/MediaBox[0 0 595 842]/Contents 4 0 R/Resources<<>>" +
           entries + ">> endobj\n4 0 obj " + content + " endobj\ntrailer <</Root 1 0 R>>\n%%EOF\n";
}

/// Some 150 KiB that draw for minutes.
inline QByteArray ContentBomb()
{
    const QByteArray triangle = "0 0 m 500 500 l 100 700 l 300 2 l f\n";
    const QByteArray packed = qCompress(triangle.repeated(1500000)).mid(4); // less Qt's own length
    return A4Page({}, Stream("/Filter/FlateDecode", packed));
}

} // namespace Orvane::Tests::Documents
