#include "support/SamplePdf.h"

#include "support/SampleDocuments.h"

#include <QBuffer>
#include <QImage>
#include <QList>
#include <QRandomGenerator>

namespace Orvane::Benchmarks {
namespace {

const QSize kPreview(135, 191);
const QSize kPhotograph(600, 800);
constexpr int kPhotographs = 3; // shared by the pages
constexpr int kPages = 100;
constexpr int kLines = 50;

/// Puts numbered objects together to a document; the first is its catalogue.
class Writer
{
public:
    explicit Writer(int mark)
        : m_pdf("%PDF-1.4\n%" + QByteArray::number(mark) + '\n')
    {}

    void Add(const QByteArray& object)
    {
        m_places.append(m_pdf.size());
        m_pdf += QByteArray::number(m_places.size()) + " 0 obj" + object + "endobj\n";
    }

    void AddStream(const QByteArray& entries, const QByteArray& content)
    {
        Add("<<" + entries + "/Length " + QByteArray::number(content.size()) + ">>stream\n" + content +
            "\nendstream ");
    }

    [[nodiscard]] QByteArray Whole() const
    {
        const auto size = QByteArray::number(m_places.size() + 1);
        QByteArray end = "xref\n0 " + size + "\n0000000000 65535 f \n";
        for (const int place : m_places)
            end += QByteArray::number(place).rightJustified(10, '0') + " 00000 n \n";
        return m_pdf + end + "trailer<</Size " + size + "/Root 1 0 R>>\nstartxref\n" +
               QByteArray::number(m_pdf.size()) + "\n%%EOF\n";
    }

private:
    QByteArray m_pdf;
    QList<int> m_places;
};

QByteArray Reference(int object)
{
    return QByteArray::number(object) + " 0 R ";
}

QByteArray Page(int content, const QByteArray& resources)
{
    return "<</Type/Page/Parent 2 0 R/MediaBox[0 0 595 842]/Contents " + Reference(content) + "/Resources<<" +
           resources + ">>>>";
}

QByteArray LinesOfText()
{
    QByteArray lines = "BT /F 11 Tf 50 790 Td 15 TL ";
    for (int line = 0; line < kLines; ++line)
        lines += "(" + QByteArray::number(line) +
                 ". The quick brown fox jumps over the lazy dog, and sees how vexing that must be.) '\n";
    return lines + "ET";
}

// Soft shapes with grain, as a camera makes them.
QByteArray Photograph(int number)
{
    QImage image(kPhotograph, QImage::Format_RGB32);
    QRandomGenerator random(static_cast<quint32>(number));
    for (int y = 0; y < image.height(); ++y)
        for (int x = 0; x < image.width(); ++x) {
            const auto grain = static_cast<int>(random.bounded(24U));
            image.setPixel(x, y, qRgb(x % 200 + grain, (x + y) % 220 + grain, y % 230 + grain));
        }
    QBuffer buffer;
    buffer.open(QIODevice::WriteOnly);
    image.save(&buffer, "jpeg", 75);
    return buffer.data();
}

const QList<QByteArray>& Photographs()
{
    static const QList<QByteArray> photographs = [] {
        QList<QByteArray> made;
        for (int number = 0; number < kPhotographs; ++number)
            made.append(Photograph(number));
        return made;
    }();
    return photographs;
}

} // namespace

QByteArray TextPage(int mark)
{
    Writer writer(mark);
    writer.Add("<</Type/Catalog/Pages 2 0 R>>");
    writer.Add("<</Type/Pages/Kids[3 0 R]/Count 1>>");
    writer.Add(Page(4, "/Font<</F 5 0 R>>"));
    writer.AddStream({}, LinesOfText());
    writer.Add("<</Type/Font/Subtype/Type1/BaseFont/Helvetica>>");
    return writer.Whole();
}

QByteArray HundredPhotographs(int mark)
{
    constexpr int kContent = 3;
    constexpr int kFirstPhotograph = kContent + 1;
    constexpr int kFirstPage = kFirstPhotograph + kPhotographs;
    QByteArray pages;
    for (int page = 0; page < kPages; ++page)
        pages += Reference(kFirstPage + page);

    Writer writer(mark);
    writer.Add("<</Type/Catalog/Pages 2 0 R>>");
    writer.Add("<</Type/Pages/Kids[" + pages + "]/Count " + QByteArray::number(kPages) + ">>");
    writer.AddStream({}, "q 595 0 0 842 0 0 cm /P Do Q");
    const auto size = "/Width " + QByteArray::number(kPhotograph.width()) + "/Height " +
                      QByteArray::number(kPhotograph.height());
    for (const auto& photograph : Photographs())
        writer.AddStream(
            "/Type/XObject/Subtype/Image/ColorSpace/DeviceRGB/BitsPerComponent 8/Filter/DCTDecode" + size,
            photograph);
    for (int page = 0; page < kPages; ++page)
        writer.Add(
            Page(kContent, "/XObject<</P " + Reference(kFirstPhotograph + page % kPhotographs) + ">>"));
    return writer.Whole();
}

std::filesystem::path RenderedTextPage()
{
    QImage page(kPreview, QImage::Format_RGB888);
    page.fill(Qt::white);
    QRandomGenerator random(1);
    // Letters of this size are grey specks.
    for (int y = 12; y < page.height() - 12; y += 3)
        for (int x = 11; x < page.width() - 11; ++x)
            page.setPixelColor(x, y, QColor::fromHsv(0, 0, static_cast<int>(random.bounded(60U, 255U))));
    const auto file = NewFolder() / "page.ppm";
    page.save(QString::fromStdString(file.u8string()), "ppm");
    return file;
}

} // namespace Orvane::Benchmarks
