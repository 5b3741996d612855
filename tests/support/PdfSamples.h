#pragma once

#include <QByteArray>
#include <QList>

namespace Orvane::Tests {

/// A valid PDF of one empty page of the given size in points. @p comment makes files differ.
inline QByteArray OnePagePdf(int width, int height, const QByteArray& comment = "sample")
{
    const QByteArray box = "[0 0 " + QByteArray::number(width) + " " + QByteArray::number(height) + "]";
    const QList<QByteArray> objects{"<</Type/Catalog/Pages 2 0 R>>", "<</Type/Pages/Kids[3 0 R]/Count 1>>",
                                    "<</Type/Page/Parent 2 0 R/Resources<<>>/MediaBox" + box + ">>"};
    QByteArray pdf = "%PDF-1.4\n%" + comment + "\n";
    QByteArray table = "0000000000 65535 f \n";
    for (int index = 0; index < objects.size(); ++index) {
        table += QByteArray::number(pdf.size()).rightJustified(10, '0') + " 00000 n \n";
        pdf += QByteArray::number(index + 1) + " 0 obj" + objects[index] + "endobj\n";
    }
    const QByteArray start = QByteArray::number(pdf.size());
    return pdf + "xref\n0 4\n" + table + "trailer<</Size 4/Root 1 0 R>>\nstartxref\n" + start + "\n%%EOF\n";
}

} // namespace Orvane::Tests
