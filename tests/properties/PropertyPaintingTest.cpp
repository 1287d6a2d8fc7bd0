#include "fixtures/Testing.h"
#include "host/Param.h"
#include "properties/PropertyTypes.h"
#include "properties/QParamsBrowser.h"
#include "properties/QPropertyDelegate.h"
#include "properties/QPropertyModel.h"

#include <QApplication>
#include <QImage>
#include <QPainter>
#include <QTest>

using namespace PropertyColumn;

namespace {

const QPalette darkPalette(QColor(53, 53, 53), QColor(45, 45, 45));
constexpr QRgb headingGrey = qRgb(217, 217, 217);

// Paints its own cell red.
class RedProperty : public QProperty {
public:
    using QProperty::QProperty;
    bool paint(QPainter* painter, const QStyleOptionViewItem& option, const QModelIndex&,
               const QAbstractItemDelegate*) const override {
        painter->fillRect(option.rect, Qt::red);
        return true;
    }
};

struct Picture {
    Picture(QTreeView& view, const QPalette& palette) {
        view.setPalette(palette);
        view.setFocusPolicy(Qt::NoFocus); // a view that gets the focus marks its first row
        view.resize(500, 300);
        view.show();
        view.expandAll();
        QApplication::processEvents();
        pixels = view.viewport()->grab().toImage();
    }

    // The background, a pixel off the corner.
    QRgb corner(const QRect& cell) const { return pixels.pixel(cell.topLeft() + QPoint(1, 1)); }

    // How far the cell's text stands out: the greatest difference of grey to its background.
    int contrast(const QRect& cell) const {
        int greatest = 0;
        for (int y = cell.top(); y < cell.bottom(); ++y)
            for (int x = cell.left(); x < cell.right(); ++x)
                greatest = std::max(greatest, std::abs(qGray(pixels.pixel(x, y)) - qGray(corner(cell))));
        return greatest;
    }

    QImage pixels;
};

} // namespace

TEST(PropertyPainting, ColoursValuesByTheirComparison) {
    QPropertyModel model;
    for (const char* text : {"a > b =", "a < b =", "a = b", "plain", "plain"})
        model.addProperty(new QStringProperty("name > with <", text, true), "", "");
    QPropertyTreeView view(&model);
    view.setItemDelegate(new CustomDelegate(&view));
    for (const QPalette& palette : {QApplication::palette(), darkPalette}) {
        const Picture picture(view, palette);
        const QRgb even = qRgb(253, 253, 253);
        const QRgb odd = qRgb(247, 247, 247);
        const QRgb values[] = {qRgb(255, 200, 200), qRgb(255, 223, 186), qRgb(200, 255, 200), odd, even};
        for (int row = 0; row < model.rowCount(); ++row) {
            const QRect name = view.visualRect(model.index(row, Name));
            const QRect value = view.visualRect(model.index(row, Value));
            EXPECT_EQ(picture.corner(name), row % 2 ? odd : even) << row;
            EXPECT_EQ(picture.corner(value), values[row]) << row;
            EXPECT_GT(picture.contrast(name), 150) << row;
            EXPECT_GT(picture.contrast(value), 150) << row;
        }
    }
}

TEST(PropertyPainting, DrawsHeadingsToTheLeftEdgeAndReadableInEveryPalette) {
    QPropertyModel model;
    model.addProperty(new QEmptyProperty("Heading"), "heading", "");
    model.addProperty(new QStringProperty("a", "b", true), "", "heading");
    QPropertyTreeView view(&model);
    for (const QPalette& palette : {QApplication::palette(), darkPalette}) {
        const Picture picture(view, palette);
        const QRect name = view.visualRect(model.index(0, Name));
        EXPECT_EQ(picture.corner(name), headingGrey);
        EXPECT_EQ(picture.pixels.pixel(0, 1), headingGrey);
        EXPECT_GT(picture.contrast(name), 150);
        EXPECT_GT(picture.contrast({0, 0, name.left(), name.height()}), 60); // the sign of its children
    }
    view.setCurrentIndex(model.index(0, Name));
    EXPECT_NE(Picture(view, QApplication::palette()).pixels.pixel(0, 1), headingGrey);
}

TEST(PropertyPainting, DrawsGridLinesOverWhateverAnItemPaints) {
    QPropertyModel model;
    model.addProperty(new RedProperty("a", true), "", "");
    QPropertyTreeView view(&model);
    const Picture picture(view, QApplication::palette());
    const QRect value = view.visualRect(model.index(0, Value));
    EXPECT_EQ(picture.corner(value), qRgb(255, 0, 0));
    QStyleOptionViewItem option;
    option.palette = view.palette();
    const auto line =
        static_cast<QRgb>(QApplication::style()->styleHint(QStyle::SH_Table_GridLineColor, &option));
    EXPECT_EQ(picture.pixels.pixel(value.topRight()), line);
    EXPECT_EQ(picture.pixels.pixel(value.bottomLeft()), line);
    EXPECT_EQ(picture.pixels.pixel(0, value.bottom()), line);
    // CustomDelegate does not ask the item.
    view.setItemDelegate(new CustomDelegate(&view));
    EXPECT_EQ(Picture(view, QApplication::palette()).corner(value), qRgb(253, 253, 253));
}

TEST(PropertyPainting, MakesRowsAsHighAsAsked) {
    QPropertyModel model;
    model.addProperty(new QStringProperty("a", "b", true), "", "");
    const auto heightWith = [&](QAbstractItemDelegate& delegate) {
        return delegate.sizeHint({}, model.index(0, Value)).height();
    };
    QStyledItemDelegate plain;
    QPropertyDelegate delegate;
    const int base = heightWith(plain);
    EXPECT_EQ(heightWith(delegate), base + 1);
    delegate.setRowHeight(20, false);
    EXPECT_EQ(heightWith(delegate), 20);
    delegate.setRowHeight(20, true);
    EXPECT_EQ(heightWith(delegate), base + 21);

    QPropertyTreeView view;
    view.setRowHeight(40, false);
    view.setModel(&model);
    view.show();
    EXPECT_EQ(view.visualRect(model.index(0, Name)).height(), 40);
}

TEST(PropertyPainting, GivesEditorsTheHeightOfTheirText) {
    ombrel::ParamMgr params;
    for (const char* name : {"first", "second", "last"})
        params.createInt(name, "", 5, nullptr, nullptr, zt::PARAM_CREATE_EDITABLE);
    QParamsBrowser browser;
    browser.setParams(&params);
    browser.setRowHeight(60, false); // of the delegate that it does not use
    browser.show();
    for (int row = 0; row < 3; ++row) {
        const QModelIndex index = browser.model()->index(row, Value);
        browser.setCurrentIndex(index);
        const QWidget* const editor = browser.indexWidget(index);
        EXPECT_GE(editor->height(), editor->minimumSizeHint().height());
        EXPECT_TRUE(browser.viewport()->rect().contains(editor->geometry()));
        EXPECT_TRUE(editor->geometry().contains(browser.visualRect(index).center()));
        EXPECT_LT(browser.visualRect(index).height(), 40);
    }
}

TEST(PropertyPainting, WritesTheTextOfABooleanBesideItsBox) {
    QPropertyModel model;
    model.addProperty(new QBoolProperty("", true, true), "", "");
    model.addProperty(new QBoolProperty("", false, true), "", "");
    QPropertyTreeView view(&model);
    view.setRowHeight(60, false); // where a text at the top of the cell would be far from the middle
    const Picture picture(view, QApplication::palette());
    for (int row = 0; row < 2; ++row) {
        const QRect cell = view.visualRect(model.index(row, Value));
        const QRect text(cell.left() + 22, cell.center().y() - 8, 16, 16);
        EXPECT_GT(picture.contrast(text), 150) << row;
        EXPECT_EQ(picture.contrast({text.left(), cell.top() + 1, 100, 20}), 0) << row;
    }
}
