#include "simulator/models/Scene.h"
#include "tests/docs/Page.h"
#include "tests/endtoend/VirtualUnit.h"
#include "tests/tables/Places.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace
{
/// A number in the schema of scenes.
struct Number_T {
    QString name;
    QJsonObject rules;
    QString scene; ///< with %1 in place of the number
};

/// The numbers below a part of the schema. The scene has %1 in place of the part.
void CollectNumbers(const QString& name, const QJsonObject& part, const QString& scene,
                    std::vector<Number_T>& numbers)
{
    if (part.contains(u"minimum")) {
        numbers.push_back({name, part, scene});
    }
    if (part.contains(u"items")) {
        CollectNumbers(name, part[u"items"].toObject(), scene.arg(u"[%1]"_s), numbers);
    }
    const QJsonObject properties = part[u"properties"].toObject();
    for (auto property = properties.begin(); property != properties.end(); ++property) {
        CollectNumbers(property.key(), property.value().toObject(),
                       scene.arg(u"{\"%1\": %2}"_s.arg(property.key(), u"%1"_s)), numbers);
    }
}

std::vector<Number_T> SchemaNumbers()
{
    const auto schema =
        QJsonDocument::fromJson(QByteArray::fromStdString(Source("simulator/scene.schema.json")));
    std::vector<Number_T> numbers;
    CollectNumbers(u""_s, schema.object(), u"%1"_s, numbers);
    return numbers;
}

bool IsAccepted(const Number_T& number, double value)
{
    QString scene = number.scene.arg(value, 0, 'g', 15);
    if (scene.contains(u"fish")) {
        scene.replace(scene.size() - 1, 1, u", \"bottom\": null}"_s);
    }
    try {
        ParseScene(scene.toUtf8());
        return true;
    } catch (const std::runtime_error&) {
        return false;
    }
}
} // namespace

TEST(Tables, EachKindOfDefectIsKnownEverywhere)
{
    Words_T kinds, ranges;
    for (const DefectKind_T& kind : DefectKinds()) {
        kinds.emplace_back(kind.name);
        ranges.push_back(u"%1 %2 to %3%4"_s.arg(QLatin1String(kind.name))
                             .arg(kind.low)
                             .arg(kind.high)
                             .arg(kind.isWhole ? u", whole"_s : u""_s)
                             .toStdString());
    }
    Names_T inSchema, inPage;
    for (const Number_T& number : SchemaNumbers()) {
        if (number.scene.contains(u"defects")) {
            inSchema.insert(number.name.toStdString());
        }
    }
    for (const Row_T& row : TableBelow(Source("docs/scene.md"), "### Defects")) {
        inPage.insert(row[0].substr(1, row[0].size() - 2) + " " + row[2]);
    }
    constexpr char c_Table[] = "simulator/models/UnitDefects.cpp";
    ExpectKnownEverywhere(
        "kind of defect", c_Table, kinds,
        {{"simulator/scene.schema.json", "a property of the defects, with its range", inSchema},
         {"tests/simulator/UnitDefectsTest.cpp", "its effect",
          Found(Source("tests/simulator/UnitDefectsTest.cpp"), R"xx("(\w+)")xx"), true},
         {"fuzz/scenes.dict", "the key", Found(Source("fuzz/scenes.dict"), R"xx(\\"(\w+)\\":)xx"), true}});
    ExpectKnownEverywhere("range of a defect", c_Table, ranges,
                          {{"docs/scene.md", "a row of the table of defects", inPage}});
}

TEST(Tables, EachNumberOfASceneHasTheRangeOfTheSchema)
{
    Names_T inSchema;
    for (const Number_T& number : SchemaNumbers()) {
        inSchema.insert(number.name.toStdString());
        const double low = number.rules[u"minimum"].toDouble(), high = number.rules[u"maximum"].toDouble();
        const bool isWhole = number.rules[u"type"].toString() == u"integer";
        const double beyond = isWhole ? 1 : 0.001;
        EXPECT_TRUE(IsAccepted(number, low)) << number.scene.toStdString() << " " << low;
        EXPECT_TRUE(IsAccepted(number, high)) << number.scene.toStdString() << " " << high;
        EXPECT_FALSE(IsAccepted(number, low - beyond)) << number.scene.toStdString() << " " << low;
        EXPECT_FALSE(IsAccepted(number, high + beyond)) << number.scene.toStdString() << " " << high;
        EXPECT_NE(IsAccepted(number, low + 0.0001), isWhole) << number.scene.toStdString();
    }
    ExpectKnownEverywhere("value", "simulator/models/Scene.cpp",
                          RowsOf(Found(Source("simulator/models/Scene.cpp"), R"xx(\{"(\w+)", -?[0-9.]+,)xx")),
                          {{"simulator/scene.schema.json", "a property", inSchema, true}});
}
