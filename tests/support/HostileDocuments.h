#pragma once

#include <QByteArray>
#include <QByteArrayList>

/// PDF files as bytes: some to be shown, some made to hurt whoever shows them.
namespace Orvane::Tests::Documents {

inline QByteArray Stream(const QByteArray& dictionary, const QByteArray& content)
{
    return "<<" + dictionary + "/Length " + QByteArray::number(content.size()) + ">>stream\n" + content +
           "\nendstream";
}

inline QByteArray CompressedStream(const QByteArray& dictionary, const QByteArray& content)
{
    return Stream(dictionary + "/Filter/FlateDecode", qCompress(content, 9).mid(4)); // less Qt's own length
}

/// Object 1 is the catalogue.
inline QByteArray Pdf(const QByteArrayList& objects, const QByteArray& trailer = {})
{
    QByteArray file = "%PDF-1.7\n";
    QByteArray table = "0000000000 65535 f \n";
    for (int i = 0; i < objects.size(); ++i) {
        table += QByteArray::number(file.size()).rightJustified(10, '0') + " 00000 n \n";
        file += QByteArray::number(i + 1) + " 0 obj\n" + objects[i] + "\nendobj\n";
    }
    const QByteArray count = QByteArray::number(objects.size() + 1);
    const QByteArray start = QByteArray::number(file.size());
    return file + "xref\n0 " + count + '\n' + table + "trailer\n<</Size " + count + "/Root 1 0 R" + trailer +
           ">>\nstartxref\n" + start + "\n%%EOF\n";
}

/// The lower left quarter of an A4 page in red.
inline QByteArray RedCorner()
{
    return Stream({}, "1 0 0 rg 0 0 297 421 re f");
}

/// One page. Its content may draw /F, which is object 5.
inline QByteArray OnePage(const QByteArray& pageEntries, const QByteArray& content = RedCorner(),
                          const QByteArray& form = "null", const QByteArray& trailer = {})
{
    return Pdf(
        {"<</Type/Catalog/Pages 2 0 R>>", "<</Type/Pages/Kids[3 0 R]/Count 1>>",
         "<</Type/Page/Parent 2 0 R/Contents 4 0 R/Resources<</XObject<</F 5 0 R>>>>" + pageEntries + ">>",
         content, form, "<</Title<FEFF041F0440043804320435044200204E2D6587>>>"},
        trailer + "/Info 6 0 R");
}

inline QByteArray Portrait()
{
    return OnePage("/MediaBox[0 0 595 842]");
}
inline QByteArray Landscape()
{
    return OnePage("/MediaBox[0 0 842 595]");
}
inline QByteArray Turned()
{
    return OnePage("/MediaBox[0 0 595 842]/Rotate 90");
}
inline QByteArray Cropped()
{
    return OnePage("/MediaBox[0 0 595 842]/CropBox[0 0 400 100]");
}
inline QByteArray Enormous()
{
    return OnePage("/MediaBox[0 0 10000000 10000000]");
}
inline QByteArray Thread()
{
    return OnePage("/MediaBox[0 0 1 100000]");
}
inline QByteArray CutShort()
{
    return Portrait().left(300);
}
inline QByteArray NoPages()
{
    return Pdf({"<</Type/Catalog/Pages 2 0 R>>", "<</Type/Pages/Kids[]/Count 0>>"});
}

inline QByteArray LockedByPassword()
{
    const QByteArray noise(32, 'x');
    return OnePage("/MediaBox[0 0 595 842]", RedCorner(), "null",
                   "/ID[<00><00>]/Encrypt<</Filter/Standard/V 1/R 2/P -4/O(" + noise + ")/U(" + noise +
                       ")>>");
}

inline QByteArray FormThatCallsItself()
{
    const QByteArray entries = "/Subtype/Form/BBox[0 0 600 900]/Resources<</XObject<</F 5 0 R>>>>";
    return OnePage("/MediaBox[0 0 595 842]", Stream({}, "/F Do"), Stream(entries, "/F Do /F Do"));
}

/// Some 150 KiB that draw for minutes.
inline QByteArray ContentBomb()
{
    return OnePage(
        "/MediaBox[0 0 595 842]",
        CompressedStream({}, QByteArray("0 0 m 500 500 l 100 700 l 300 2 l f\n").repeated(1500000)));
}

/// Some 20 KiB that unpack to 432 MB.
inline QByteArray HugeImage()
{
    const QByteArray grey128Times("\x81\x80", 2);
    const QByteArray runs = qCompress(grey128Times.repeated(12000 * 12000 * 3 / 128)).mid(4);
    return OnePage("/MediaBox[0 0 595 842]", Stream({}, "595 0 0 842 0 0 cm /F Do"),
                   Stream("/Subtype/Image/Width 12000/Height 12000/ColorSpace/DeviceRGB/BitsPerComponent 8"
                          "/Filter[/FlateDecode/RunLengthDecode]",
                          runs));
}

} // namespace Orvane::Tests::Documents
