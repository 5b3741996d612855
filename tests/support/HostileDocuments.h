#pragma once

#include <QByteArray>

/// PDF files as bytes, some of them made to hurt whoever shows them. None has a table of its objects: every
/// reader then finds them by itself.
namespace Orvane::Tests::Documents {

inline QByteArray Packed(const QByteArray& bytes)
{
    return qCompress(bytes, 9).mid(4); // less Qt's own length
}

inline QByteArray Stream(const QByteArray& dictionary, const QByteArray& content)
{
    return "<<" + dictionary + "/Length " + QByteArray::number(content.size()) + ">>stream\n" + content +
           "\nendstream";
}

/// An A4 page, its lower left quarter red unless it has other content. That may draw /F, the form.
inline QByteArray A4Page(const QByteArray& entries = {},
                         const QByteArray& content = Stream({}, "1 0 0 rg 0 0 297 421 re f"),
                         const QByteArray& form = "null")
{
    return "%PDF-1.7\n"
           "1 0 obj <</Type/Catalog/Pages 2 0 R>> endobj\n"
           "2 0 obj <</Type/Pages/Kids[3 0 R]/Count 1>> endobj\n"
           "3 0 obj <</Type/Page/Parent 2 0 R/MediaBox[0 0 595 842]/Contents 4 0 R" +
           entries + "/Resources<</XObject<</F 5 0 R>>>>>> endobj\n4 0 obj " + content + " endobj\n5 0 obj " +
           form + " endobj\ntrailer <</Root 1 0 R>>\n%%EOF\n";
}

/// Some 150 KiB that draw for minutes.
inline QByteArray ContentBomb()
{
    const QByteArray triangle = "0 0 m 500 500 l 100 700 l 300 2 l f\n";
    return A4Page({}, Stream("/Filter/FlateDecode", Packed(triangle.repeated(1500000))));
}

/// Some 20 KiB that unpack to 432 MB.
inline QByteArray HugeImage()
{
    return A4Page({}, Stream({}, "595 0 0 842 0 0 cm /F Do"),
                  Stream("/Subtype/Image/Width 12000/Height 12000/ColorSpace/DeviceRGB/BitsPerComponent 8"
                         "/Filter[/FlateDecode/RunLengthDecode]",
                         Packed(QByteArray("\x81\x80").repeated(12000 * 12000 * 3 / 128)))); // 128 times grey
}

} // namespace Orvane::Tests::Documents
