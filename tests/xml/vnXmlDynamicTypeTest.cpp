// SPDX-License-Identifier: MIT
#include "vnXmlTestTools.h"

#include <vnBase/vnBaseError.h>
#include <vnBase/vnJSON.h>
#include <vnBase/vnMessage.h>
#include <vnBase/vnXmlDom.h>
#include <vnBase/vnXmlDynamicType.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <thread>
#include <vector>

namespace
{
// Only of a class without heirs a container may know how to destroy it.
struct HeldObject final : vnRefPointer<vnObject>
{
    using vnRefPointer<vnObject>::vnRefPointer;
};

/// Collects what is told of values, objects and custom data, and the error.
class Told : public vnXmlSax
{
public:
    explicit Told(const std::string& text = "", unsigned char dynOnly = 0)
    {
        objects.reserve(8); // growing would clone them
        useProgress(0);
        useDynOnly(dynOnly);
        if (!text.empty())
            vnReadText(*this, text);
    }

    std::vector<vnDynamicType> values;
    std::vector<HeldObject> objects;
    std::string log;

    unsigned char onDynamicType(const vnDynamicType& value, const vnString& name, unsigned int level) override
    {
        values.push_back(value);
        log += std::to_string(level) + " value " + name.getString() + "\n";
        return name != "last";
    }
    unsigned char onObject(vnObject* object, const vnString& name, unsigned int level) override
    {
        objects.emplace_back(object);
        log += std::to_string(level) + " object " + name.getString() + "\n";
        return 1;
    }
    unsigned char onCustomData(vnReference* data, const vnString& name, unsigned int level) override
    {
        log += std::to_string(level) + " " + data->getTypeName() + " " + name.getString() + "\n";
        return 1;
    }
    vnString onFunction(const vnString& name, unsigned int level) override
    {
        log += std::to_string(level) + " function " + name.getString() + "\n";
        return "7";
    }
};

std::string errorOf(const std::string& text, unsigned char dynOnly = 0)
{
    return Told(text, dynOnly).getError().getString();
}

vnDynamicType read(const std::string& text, unsigned char dynOnly = 0)
{
    unsigned char ok = 2;
    vnDynamicType value =
        vnXml2DynamicType(text.data(), static_cast<unsigned int>(text.size()), &ok, dynOnly);
    EXPECT_EQ(ok, 1) << text;
    return value;
}

const std::string arrayStart = "<vnDyn type=\"array\">";
const std::string valueEnd = "</vnDyn>";

std::string nestedArrays(unsigned int depth)
{
    return repeated(arrayStart, depth) + repeated(valueEnd, depth);
}

const char guidText[] = "{6BA7B810-9DAD-11D1-80B4-00C04FD430C8}";
} // namespace

TEST(vnXmlDynamicType, WritesAFormForEachTag)
{
    const std::pair<vnDynamicType, std::string> cases[] = {
        {1.5, R"(<vnDyn type="num">1.5</vnDyn>)"},
        {1e20, R"(<vnDyn type="num">1e20</vnDyn>)"},
        {"a<b & \"c\"", R"(<vnDyn type="str">a<b & "c"</vnDyn>)"}, // not escaped
        {std::nan(""), R"(<vnDyn type="num"><nan></vnDyn>)"},      // nor these
        {-HUGE_VAL, R"(<vnDyn type="num">-<inf></vnDyn>)"},
        {"", R"(<vnDyn type="str"></vnDyn>)"},
        {vnDynamicType(), R"(<vnDyn type="void">void</vnDyn>)"},
        {vnDynamicTypeInt64(-9007199254740993), R"(<vnDyn type="llnum">-9007199254740993</vnDyn>)"},
        {vnVec2_<float>(1.5f, -2), R"(<vnDyn type="vec2">{1.5,-2}</vnDyn>)"},
        {vnVec3_<float>(1, 2, 3), R"(<vnDyn type="vec3">{1,2,3}</vnDyn>)"},
        {vnVec4_<float>(1, 2, 3, 0.25f), R"(<vnDyn type="vec4">{1,2,3,0.25}</vnDyn>)"},
        {vnGUID(guidText), std::string(R"(<vnDyn type="guid">)") + guidText + "</vnDyn>"},
        {vnDynamicTypeError("No luck"), R"(<vnDyn type="error">No luck</vnDyn>)"},
        {vnDynamicTypeTimeTagged(2.5, 7.0), R"(<vnDyn time="2.500000">7</vnDyn>)"}, // without its tag
        {arrayOf({}), R"(<vnDyn type="array" size="0.000000"></vnDyn>)"},
        {arrayOf({1.0, arrayOf({"a"})}),
         R"(<vnDyn type="array" size="2.000000"><vnDyn type="num" index="0.000000">1</vnDyn>)"
         R"(<vnDyn type="array" index="1.000000" size="1.000000"><vnDyn type="str" index="0.000000">a</vnDyn>)"
         R"(</vnDyn></vnDyn>)"},
        {containerOf({{"b", 1.0}, {"a", vnDynamicTypeTimeTagged(1, "x")}}),
         R"(<vnDyn type="cont"><vnDyn name="a" time="1.000000">x</vnDyn>)"
         R"(<vnDyn name="b" type="num">1</vnDyn></vnDyn>)"},
        {vnDynamicType::fromJSON("{\"\":1}"), // does not read
         R"(<vnDyn type="cont"><vnDyn type="num">1</vnDyn></vnDyn>)"},
        // The stream form: the tag, the size, the payload.
        {vnDynamicTypeChain(), R"(<vnDyn type="chain" encoding="hex">FC0C0000</vnDyn>)"},
        {arrayOf({vnDynamicTypeTimeTagged(0, 1.0)}),
         R"(<vnDyn type="array" size="1.000000"><vnDyn type="ttag" index="0.000000" encoding="hex">)"
         R"(FC13000D0000000000000000FC02000101</vnDyn></vnDyn>)"},
    };
    for (const auto& [value, text] : cases)
        EXPECT_EQ(value.asString().getString(), text);
    EXPECT_EQ(vnDynamicType(1.5).asString(1, 0, ""), "1.5");
    EXPECT_EQ(vnDynamicType("  a > b ").asString(1), "a > b");
    EXPECT_EQ(arrayOf({1.0}).asString(0, 1, "list"),
              R"(<list type="array" size="1.000000"><item type="num" index="0.000000">1</item></list>)");
    vnDynamicTypeContainer container;
    container.setAttribute("a", 1.0);
    EXPECT_EQ(container.asString(0, 1, "c"), R"(<c type="cont"><a type="num">1</a></c>)");
    EXPECT_EQ(vnDynamicTypeChain().asJSON(), "\"FC0C0000\"");
}

TEST(vnXmlDynamicType, ReadsWhatItWrites)
{
    vnString interned("an interned text that is known by its id");
    interned.makeUnique();
    const vnDynamicType values[] = {
        0.1,
        -1234567.5,
        "text",
        "",
        vnDynamicType(),
        vnDynamicTypeInt64(9007199254740993),
        vnVec2_<float>(1.5f, -2e-5f),
        vnVec3_<float>(1, 2, 3),
        vnVec4_<float>(1, 2, 3, 0.25f),
        vnGUID(guidText),
        vnDynamicTypeError("No luck"),
        vnDynamicTypeChain(),
        static_cast<const void*>(guidText),
        arrayOf({}),
        arrayOf({1.0, "a", vnDynamicTypeTimeTagged(3, arrayOf({"x"})), arrayOf({arrayOf({}), 2.0})}),
        containerOf({}),
        containerOf({{"b", 1.0}, {"a", arrayOf({"x", containerOf({{"z", "1"}})})}, {"cc", "c"}}),
    };
    for (const vnDynamicType& value : values)
        for (const unsigned char dynOnly : {0, 1})
        {
            const vnString text = value.asString(0, dynOnly, "v");
            unsigned char ok = 0;
            EXPECT_TRUE(vnDynamicType::fromXML(text, &ok, dynOnly) == value) << text;
            EXPECT_TRUE(ok) << text;

            vnDynamicArray<unsigned char> wide;
            EXPECT_TRUE(vnDynamicType2Xml(value, wide, 1, dynOnly, "v"));
            std::vector<char16_t> units(wide.getSize() / 2);
            std::memcpy(units.data(), wide.data(), wide.getSize());
            EXPECT_EQ(units[0], u'<'); // without a mark
            EXPECT_TRUE(vnXml2DynamicType(units.data(), static_cast<unsigned int>(units.size()), &ok,
                                          dynOnly) == value)
                << text;
        }
    // What is wide, byte by byte; only what is read has a mark.
    const vnDynamicType wide("gr\xC3\xBC\xC3\x9F \xE2\x82\xAC");
    const std::string marked = vnUtf16(u"<vnDyn type=\"str\">gr\xFC\xDF \x20AC</vnDyn>", false);
    EXPECT_TRUE(
        vnXml2DynamicType(vnArray<unsigned char>(reinterpret_cast<const unsigned char*>(marked.data()),
                                                 static_cast<unsigned int>(marked.size()))) == wide);
    vnDynamicArray<unsigned char> bytes;
    EXPECT_TRUE(vnDynamicType2Xml(wide, bytes, 1, 0, ""));
    EXPECT_EQ("\xFF\xFE" + std::string(bytes.begin(), bytes.end()), marked);
    EXPECT_TRUE(read(vnDynamicType(interned).asString().getString()) == vnDynamicType(interned.getString()));

    // An object in a value is named by its address, and nobody holds it behind the text.
    const vnRefPointer<vnObject> object(new vnObject);
    const vnDynamicType reference(object.get());
    const vnDynamicType back = read(reference.asString().getString());
    EXPECT_EQ(back.getPointer(), object.get());
    EXPECT_EQ(back.getReference(), nullptr);
}

TEST(vnXmlDynamicType, ReadsTheFormsOfValues)
{
    const std::pair<const char*, vnDynamicType> cases[] = {
        {"<vnDyn>text</vnDyn>", "text"},
        {"<vnDyn/>", ""},
        {"<vnDyn type='str'> \n</vnDyn>", ""},
        {"<vnDyn type='str'> a b </vnDyn>", "a b "}, // only the space in front goes
        {"<vnDyn type='str'><![CDATA[<&>]]></vnDyn>", "<&>"},
        {"<vnDyn type='void'/>", vnDynamicType()},
        {"<vnDyn type='void'>anything</vnDyn>", vnDynamicType()},
        {"<vnDyn type='num'>1,5</vnDyn>", 1.5}, // either decimal mark
        {"<vnDyn type='num'>none</vnDyn>", 0.0},
        {"<vnDyn type='vec3'>{1,2,3}</vnDyn>", vnVec3_<float>(1, 2, 3)},
        {"<vnDyn type='vec3'>  { 1 , -2e1 , 0.5 }</vnDyn>", vnVec3_<float>(1, -20, 0.5f)},
        {"<vnDyn type='vec2'><![CDATA[ { 1,2 } ]]></vnDyn>", vnVec2_<float>(1, 2)},
        {"<vnDyn type='guid'>\n {6BA7B810-9DAD-11D1-80B4-00C04FD430C8}\n</vnDyn>", vnGUID(guidText)},
        {"<vnDyn time='2.5' type='num'>1</vnDyn>", vnDynamicTypeTimeTagged(2.5, 1.0)},
        {"<vnDyn time='2.5'>1</vnDyn>", vnDynamicTypeTimeTagged(2.5, "1")},
        {"<vnDyn type='array'/>", arrayOf({})},
        {"<vnDyn type='array'> <!-- none --> a </vnDyn>", vnDynamicType()}, // it would lack the text
        {"<vnDyn>a &amp; b</vnDyn>", "a "},                                 // what follows is not looked at
        {"<vnDyn type='array' size='2'/>", arrayOf({{}, {}})},
        {"<vnDyn type='array' size='1'><vnDyn>a</vnDyn> <!-- c --> <vnDyn index='0'>b</vnDyn></vnDyn>",
         arrayOf({"b", "a"})}, // one without an index goes behind the size
        {"<vnDyn type='array'><vnDyn index='2'>c</vnDyn><vnDyn index='0'>a</vnDyn><vnDyn>d</vnDyn>"
         "<vnDyn index='2'>e</vnDyn></vnDyn>",
         arrayOf({"a", {}, "e", "d"})},
        {"<vnDyn type='array'><x> text </x><x> </x><x><y>deep</y></x></vnDyn>", arrayOf({"text"})},
        {"<vnDyn type='array' size='2'><vnDyn index=''>a</vnDyn></vnDyn>", arrayOf({"a", {}})},
        {"<vnDyn type='cont'/>", containerOf({})},
        {"<vnDyn type='cont'><x name='a'> text </x><x> </x><x><y>deep</y></x></vnDyn>",
         containerOf({{"a", "text"}})},
        // Text that markup parts is one in a container, and several in an array.
        {"<vnDyn type='cont'><x name='a'> p &amp; <!-- c --><![CDATA[<&>]]></x>"
         "<x name='b'>t<b>deep</b><c/>u</x><x name='c'>&lt;</x></vnDyn>",
         containerOf({{"a", "p &amp; <&>"}, {"b", "tu"}, {"c", "&lt;"}})},
        {"<vnDyn type='array'><x> p &amp; q <b/> </x><x><![CDATA[<&>]]></x></vnDyn>",
         arrayOf({"p", "q", "<&>"})},
        {"<vnDyn type='cont'><vnDyn name='a'>1</vnDyn><vnDyn name='b'>2</vnDyn><vnDyn name='a'>3</vnDyn>"
         "</vnDyn>",
         containerOf({{"a", "3"}, {"b", "2"}})},
        {"<vnDyn type='array'><vnDyn>a</vnDyn>x", vnDynamicType()}, // an end tag must begin
        {"<vnDyn type='chain' encoding='b64'>/AwA AA==</vnDyn>", vnDynamicTypeChain()},
        {"<vnDyn type='chain' encoding='hex'><![CDATA[fc0c00 00]]></vnDyn>", vnDynamicTypeChain()},
        {"<vnDyn type='chain'>/AwAAA</vnDyn>", vnDynamicTypeChain()}, // base 64 unless something else is said
        {"<vnDyn type='array' encoding='hex'><vnDyn type='chain'>FC0C0000</vnDyn></vnDyn>",
         arrayOf({vnDynamicTypeChain()})},
    };
    for (const auto& [text, value] : cases)
    {
        unsigned char ok = 0;
        EXPECT_TRUE(vnDynamicType::fromXML(text, &ok) == value) << text;
        EXPECT_EQ(ok, !value.is("void") || std::string(text).find("'void'") != std::string::npos) << text;
    }
    EXPECT_TRUE(read("<a type='cont'><b>1</b><c name='d' type='num'>2</c></a>", 1) ==
                containerOf({{"b", "1"}, {"d", 2.0}}));

    unsigned char ok = 0;
    EXPECT_TRUE(vnDynamicType::fromString("1.5", "num", &ok) == vnDynamicType(1.5));
    EXPECT_TRUE(ok);
    EXPECT_TRUE(vnDynamicType::fromString("<a", "str", &ok) == vnDynamicType());
    EXPECT_FALSE(ok);
    const std::string longest(65535, 'x');
    EXPECT_TRUE(vnDynamicType::fromString(longest.c_str(), "str", &ok) == vnDynamicType(longest.c_str()));
    EXPECT_THROW(vnDynamicType(longest.c_str()).asString(), vnFatalError);
}

TEST(vnXmlDynamicType, ReadsValuesInEveryEncoding)
{
    const vnDynamicType value = arrayOf({containerOf({{"a", 1.0}}), vnDynamicTypeChain()});
    const std::string text =
        "<d><vnDyn type='array'><vnDyn type='cont'><vnDyn name='a' type='num'>1</vnDyn></vnDyn>"
        "<vnDyn type='chain' encoding='hex'>FC 0C\n0000</vnDyn></vnDyn></d>";
    const std::string wide = vnUtf16(std::u16string(text.begin(), text.end()), true);
    for (const std::string& document :
         {text, wide, "<?xml version='1.0' encoding='iso-8859-1'?>" + text, "\xEF\xBB\xBF" + text})
    {
        const Told told(document);
        EXPECT_FALSE(told.hasError()) << told.getError();
        ASSERT_EQ(told.values.size(), 1u);
        EXPECT_TRUE(told.values[0] == value);
    }
}

TEST(vnXmlDynamicType, TellsValuesWithinADocument)
{
    const Told told(
        "<doc>\n<vnDyn name='a'>function:f</vnDyn><x><vnDyn type='array' name='b'><!-- function: -->"
        "<vnDyn type='num'>function:g</vnDyn>\n</vnDyn></x></doc>");
    EXPECT_FALSE(told.hasError()) << told.getError();
    // Within an array the level counts on.
    EXPECT_EQ(told.log, "2 function f\n2 value a\n4 function g\n3 value b\n");
    EXPECT_TRUE(told.values[0] == vnDynamicType("7"));
    EXPECT_TRUE(told.values[1] == arrayOf({7.0}));

    // All that is remembered is there again behind an array, and so is the place.
    const std::string array = "<vnDyn type='array'>\n<vnDyn>a</vnDyn><!-- - -->\n</vnDyn>";
    EXPECT_EQ(vnRecord("<x>" + array + "y</x>", VN_XML_ELEMENT_CONTENTS),
              "2 DynamicType [array] []\n2 ElementContents [vnDyn] [\n<vnDyn>a</vnDyn><!-- - -->\n]\n1 "
              "ElementContents [x] [" +
                  array + "y]\n");
    const Told faulty("<x>" + array + "\n  <y/ ></x>");
    EXPECT_EQ(faulty.getLine(), 3u);
    EXPECT_EQ(faulty.values.size(), 1u);
    EXPECT_TRUE(faulty.hasError());

    const Told stopped("<vnDyn name='last'/>");
    EXPECT_EQ(stopped.values.size(), 1u);
    EXPECT_FALSE(stopped.isCurrentElementEmpty());

    // The tree keeps values as items, and writes them again.
    vnRefPointer<vnXmlDom> dom(new vnXmlDom);
    const std::string text = "<doc><vnDyn name=\"a\" type=\"vec2\">{1,2}</vnDyn></doc>";
    vnReadText(*dom, text);
    vnXmlItem* item = dom->findItem("doc/a");
    ASSERT_NE(item, nullptr);
    EXPECT_EQ(item->asString(static_cast<vnXmlStringFlags>(96)), "Dyn:{1,2}");
    EXPECT_EQ(vnOutputOf([&](vnXmlSax& sax) { dom->findItem("doc")->write(&sax); }), text);
}

TEST(vnXmlDynamicType, RefusesWhatIsNoValue)
{
    const char* const invalid = "Invalid or unknown data for vnDynamicType";
    const char* const outOfRange = "An index or the size of vnDynamicTypeArray is out of range";
    const std::pair<const char*, const char*> cases[] = {
        {"<vnDyn type='num'></vnDyn>", "vnDynamicType 'num' requires a valid CharData or CDATA field"},
        {"<vnDyn type='vec2'/>", "vnDynamicType 'vec2' requires a valid CharData or CDATA field"},
        {"<vnDyn type='error'></vnDyn>", "vnDynamicType 'error' requires a valid CharData or CDATA field"},
        {"<vnDyn><a/></vnDyn>", "vnDynamicType 'str' requires a valid CharData or CDATA field"},
        {"<vnDyn type='vec2'>{1;2}</vnDyn>", invalid},
        // Meant to be read by nobody.
        {"<vnDyn type='vec3'><![CDATA[{1,2,3}]]></vnDyn>", invalid},
        {"<vnDyn type='vec4'><![CDATA[{1,2,3,4}]]></vnDyn>", invalid},
        {"<vnDyn type='guid'>x</vnDyn>", invalid},
        {"<vnDyn type='array'><vnDyn type='guid'>{6BA7}</vnDyn></vnDyn>", invalid},
        {"<vnDyn type='other'/>", invalid},
        {"<vnDyn type='other'><a/></vnDyn>", invalid},
        {"<vnDyn type='other' encoding='hex'>FC0C0005</vnDyn>", invalid},
        {"<vnDyn type='other' encoding='hex'>FC0C00FFFFFFFF0F00</vnDyn>", invalid}, // 4 GB
        {"<vnDyn type='array'><x><vnDyn>a</vnDyn></x></vnDyn>",
         "vnDynamicTypeArray can't read recursive xml entities"},
        {"<vnDyn type='cont'><x><vnDyn>a</vnDyn></x></vnDyn>",
         "vnDynamicTypeContainer can't read recursive xml entities"},
        {"<vnDyn type='cont'><vnDyn>a</vnDyn></vnDyn>", "Missing 'name' attribute in container"},
        {"<vnDyn type='cont'><x>text</x></vnDyn>", "Missing 'name' attribute in container"},
        {"<vnDyn type='array' size='4000000000'/>", outOfRange},
        {"<vnDyn type='array' size='-1'/>", outOfRange},
        {"<vnDyn type='array' size='1e30'/>", outOfRange},
        {"<vnDyn type='array'><vnDyn index='1000'/></vnDyn>", outOfRange},
        {"<vnDyn type='array'><x>]]></x></vnDyn>", "No progress in XML data"},
        {"<vnObj type='vnObject'/>", invalid},
        {"<vnObj type='vnObject'><a/></vnObj>", invalid},
        {"<vnDyn>a</vnDin>", "Expected end tag 'vnDyn' but got 'vnDin'"},
    };
    for (const auto& [text, error] : cases)
    {
        EXPECT_EQ(errorOf(text), error) << text;
        unsigned char ok = 1;
        vnDynamicType::fromXML(text, &ok);
        EXPECT_EQ(ok, std::string(text) == "<vnDyn>a</vnDin>") << text; // whose value is whole
    }
    const std::string filled = "<vnDyn type='cont'><x name='a'>" + std::string(65534, 'x');
    const std::string large(65536, 'x'), name(65535, 'n');
    const std::pair<std::string, const char*> sizes[] = {
        {std::string("<vnDyn type='cont'><vnDyn name='a\0b'>a</vnDyn></vnDyn>", 54),
         "Zero byte in 'name' attribute in container"},
        {"<vnDyn>" + large + "</vnDyn>", "Too large 'CharData' is notified"},
        {filled + "<b/>y</x></vnDyn>", ""},
        {filled + "<b/>yz</x></vnDyn>", "Too large 'CharData' is notified"},
        {"<vnDyn type='cont'><x name='a'>" + std::string(65535, ' ') + "<!-- -->q</x></vnDyn>", ""},
    };
    for (const auto& [text, error] : sizes)
        EXPECT_EQ(errorOf(text), error) << text.substr(0, 50);
    EXPECT_EQ(errorOf("<a><![CDATA[" + large + "]]></a>", 1), "Too large 'CData' is notified");
    EXPECT_FALSE(errorOf("<vnDyn type='array'/><a/>").empty());                   // behind the value
    EXPECT_FALSE(errorOf("<" + name + "></" + name.substr(1) + "m>", 1).empty()); // as long as is remembered
    unsigned char ok = 1;
    EXPECT_TRUE(vnDynamicType::fromXML("<a><vnDyn name='n'>x</vnDyn></a>", &ok) == vnDynamicType());
    EXPECT_FALSE(ok);
    ok = 1;
    EXPECT_TRUE(vnXml2DynamicType(static_cast<const char*>(nullptr), 9, &ok) == vnDynamicType());
    EXPECT_FALSE(ok);
}

TEST(vnXmlDynamicType, EndsEveryTruncationWithAnError)
{
    const std::string text =
        "<vnDyn type='array' size='5'><vnDyn>a text</vnDyn><vnDyn type='cont'><vnDyn name='x' "
        "type='num'>12</vnDyn>"
        "</vnDyn><vnDyn type='chain' encoding='hex'>FC0C0000</vnDyn><!-- c --><vnDyn><![CDATA[x]]></vnDyn>"
        "<vnDyn type='vec3'>{1,2,3}</vnDyn></vnDyn>";
    const vnDynamicType whole = read(text);
    for (std::size_t size = 0; size < text.size(); ++size)
    {
        const std::string cut = text.substr(0, size);
        EXPECT_FALSE(errorOf(cut + (size ? "" : " ")).empty()) << cut;
        Told sliced;
        const vnRefPointer<vnSerializeAdapter> source(new vnSlicedAdapter(cut, 3));
        sliced.read(source);
        EXPECT_TRUE(sliced.hasError()) << cut;
        unsigned char ok = 1;
        const vnDynamicType value = vnXml2DynamicType(cut.data(), static_cast<unsigned int>(cut.size()), &ok);
        EXPECT_EQ(ok, text.size() - size <= valueEnd.size() - 2) << cut; // "</" ends the array
        EXPECT_TRUE(value == (ok ? whole : vnDynamicType())) << cut;
    }
    Told trickled;
    trickled.read(vnRefPointer<vnSerializeAdapter>(new vnByteAdapter(text)));
    EXPECT_FALSE(trickled.hasError()) << trickled.getError();
    EXPECT_TRUE(trickled.values.at(0) == whole);
}

TEST(vnXmlDynamicType, BoundsTheElementsThatAreNotThere)
{
    const char error[] = "An index or the size of vnDynamicTypeArray is out of range";
    // Each of them alone would not be too large.
    const std::string gaps = "<vnDyn name='a' type='array' size='5000'/>";
    EXPECT_EQ(errorOf(arrayStart + repeated(gaps, 500) + valueEnd), error);
    EXPECT_EQ(errorOf("<vnDyn type='cont'>" + repeated(gaps, 500) + valueEnd), error);
    EXPECT_EQ(errorOf("<x>" + repeated(arrayStart + gaps + valueEnd, 500) + "</x>"), error);
    const std::string document = "<x>" + gaps + std::string(5000, ' ') + "</x>";
    Told told(document);
    vnReadText(told, document); // whose gaps count anew
    EXPECT_EQ(told.values.size(), 2u) << told.getError();

    // An element may come before those in front of it, also where no more than the next byte is known.
    struct Trickle : vnByteAdapter
    {
        using vnByteAdapter::vnByteAdapter;
        unsigned int length_imp() override { return std::min(vnByteAdapter::length_imp(), 1u); }
    };
    std::string descending = arrayStart;
    for (int i = 99; i >= 0; --i)
        descending += "<vnDyn type='num' index='" + std::to_string(i) + "'>1</vnDyn>";
    Told slowly;
    slowly.read(vnRefPointer<vnSerializeAdapter>(new Trickle(descending + valueEnd)));
    EXPECT_FALSE(slowly.hasError()) << slowly.getError();
    const std::vector<vnDynamicType> ones(100, vnDynamicType(1.0));
    EXPECT_TRUE(slowly.values.at(0) == vnDynamicTypeArray(vnArray<vnDynamicType>(ones.data(), 100)));
    EXPECT_EQ(errorOf("<vnDyn type='array'><vnDyn index='4294967294'/><vnDyn/></vnDyn>"), error);
}

TEST(vnXmlDynamicType, BoundsTheDepthOfValues)
{
    constexpr unsigned int max = vnXmlSax::VN_MAX_VALUE_DEPTH;
    const char error[] = "Too deep nesting in XML data";
    EXPECT_EQ(errorOf(nestedArrays(100000)), error);
    EXPECT_EQ(errorOf(nestedArrays(max + 1)), error);
    const vnDynamicType deepest = read(nestedArrays(max));
    EXPECT_TRUE(read(deepest.asString().getString()) == deepest);
    EXPECT_THROW(arrayOf({deepest}).asString(), vnFatalError);
    EXPECT_THROW(containerOf({{"a", deepest}}).asString(), vnFatalError);
    // What is skipped in a value counts as well.
    Told shallow;
    shallow.setMaxElementDepth(3);
    vnReadText(shallow, arrayStart + "<a><b><c/></b></a>" + valueEnd);
    EXPECT_EQ(shallow.getError(), error);
}

TEST(vnXmlDynamicType, ReadsBytesThatAreLargerThanATextMayBe)
{
    const std::vector<vnDynamicType> elements(20000, vnDynamicType("a text"));
    const vnDynamicType value =
        vnDynamicTypeTimeTagged(1, vnDynamicTypeArray(vnArray<vnDynamicType>(elements.data(), 20000)));
    const std::string text = vnOutputOf(
        [&](vnXmlSax& sax)
        {
            sax.writeElementStart("x");
            for (int i = 0; i < 2; ++i)
                sax.writeDynamicType(arrayOf({value}), "n", "vnDyn");
            sax.writeElementEnd();
        });
    EXPECT_NE(text.find("encoding=\"b64\""), std::string::npos);
    for (const std::size_t slice : {std::size_t(7), text.size()})
    {
        Told told;
        told.setMaxBufferSize(1000);
        told.read(vnRefPointer<vnSerializeAdapter>(new vnSlicedAdapter(text, slice)));
        EXPECT_FALSE(told.hasError()) << told.getError();
        ASSERT_EQ(told.values.size(), 2u);
        EXPECT_TRUE(told.values[1] == arrayOf({value}));
    }
    for (const char* cut : {"<vnDyn>%</vnDyn>", "<x>%</x>", "<x><![CDATA[%]]></x>"})
    {
        std::string large(cut);
        large.replace(large.find('%'), 1, std::string(2000, 'a'));
        Told told;
        told.setMaxBufferSize(1000);
        told.read(vnRefPointer<vnSerializeAdapter>(new vnSlicedAdapter(large, 7)));
        EXPECT_TRUE(told.hasError()) << cut;
    }
    // A block of memory goes on behind such a value.
    const std::string block(100, ' ');
    const vnRefPointer<vnSerializeAdapter> memory = memoryOf(block);
    const auto write = [](vnXmlSax& sax) { sax.writeDynamicType(vnDynamicTypeChain(), "n", "vnDyn"); };
    vnXmlWriter writer(write);
    writer.write(memory);
    struct FlushCounter : vnSerializeAdapterQueue
    {
        using vnSerializeAdapterQueue::vnSerializeAdapterQueue;
        void flush() override { ++count; }
        int count = 0;
    };
    const vnRefPointer<FlushCounter> counter(new FlushCounter(VN_QUEUE_FIFO));
    writer.write(counter);
    EXPECT_EQ(counter->count, 1);
    EXPECT_EQ(block.substr(0, block.find_last_not_of(' ') + 1),
              R"(<vnDyn name="n" type="chain" encoding="b64">/AwAAA</vnDyn>)");
}

TEST(vnXmlDynamicType, SharesObjectsAcrossElements)
{
    const vnRefPointer<vnObject> inner(new vnObject);
    const vnRefPointer<vnObject> outer(new vnObject);
    outer->setAttribute("data", "a", 1.5);
    outer->addUserData("inner", inner);
    for (const unsigned char base64 : {0, 1})
    {
        const std::string text = vnOutputOf(
            [&](vnXmlSax& sax)
            {
                sax.useBase64(base64);
                sax.writeElementStart("doc");
                sax.writeObject(outer, "first", "vnObj");
                sax.writeObject(nullptr, "none", "vnObj");
                sax.writeObject(inner, "", "vnObj");
                sax.writeObject(outer, "third", "vnObj");
                sax.writeElementEnd();
            });
        EXPECT_NE(text.find(base64 ? "encoding=\"b64\"" : "encoding=\"hex\""), std::string::npos) << text;
        const Told told(text);
        EXPECT_FALSE(told.hasError()) << told.getError();
        EXPECT_EQ(told.log, "2 object first\n2 object \n2 object third\n");
        ASSERT_EQ(told.objects.size(), 3u);
        EXPECT_EQ(told.objects[0].get(), told.objects[2].get());
        EXPECT_EQ(told.objects[0]->getUserData("inner"), told.objects[1].get());
        EXPECT_EQ(told.objects[0]->getAttribute("data", "a").getNumber(), 1.5);
    }
    EXPECT_EQ(inner->asString(),
              vnString(R"(<vnObj type="vnObject" encoding="b64">)") + inner->asString(1) + "</vnObj>");
    const Told alone(outer->asString().getString());
    ASSERT_EQ(alone.objects.size(), 1u);
    EXPECT_TRUE(alone.objects[0]->hasAttribute("data", "a"));
}

TEST(vnXmlDynamicType, RefusesRecordsThatLie)
{
    vnMessage::setMessageLevel(VN_MESSAGE_ALWAYS);
    const auto record = [](const std::string& hex)
    { return "<doc><vnObj encoding='hex'>" + hex + "</vnObj><vnDyn>behind</vnDyn></doc>"; };
    char id[9];
    std::snprintf(id, sizeof id, "%08X", vnString::hash("vnObject", 0));
    const std::string object = id;
    for (const std::string& hex : {
             std::string(""), std::string("0000"), object,
             object + "0000000B00000000",           // smaller than its head
             object + "0000001000000000",           // without its body
             object + "0000001000000000FFFFFFFF",   // of many items
             object + "00000010FFFFFF0000000000",   // an instance far away
             std::string("1234567800000FFF000000"), // an unknown class that is not all there
         })
    {
        const Told told(record(hex));
        EXPECT_TRUE(told.hasError()) << hex;
        EXPECT_TRUE(told.objects.empty()) << hex;
    }
    EXPECT_EQ(errorOf(record(object + "0000000B00000000")), "Corrupt Stream in !!");
    // Null, nobody's instance, and a class that is not known end nothing.
    for (const char* hex : {"00000000", "FFFFFFFF0000000C00000007", "123456780000000E00000000AAAA"})
    {
        const Told told(record(hex));
        EXPECT_FALSE(told.hasError()) << told.getError();
        ASSERT_EQ(told.objects.size(), 1u) << hex;
        EXPECT_FALSE(told.objects[0]) << hex;
        EXPECT_EQ(told.values.size(), 1u) << hex;
    }
    vnMessage::setMessageLevel(VN_MESSAGE_NOTICE);
}

namespace
{
/// Temperatures as attributes.
class Celsius : public vnXmlDynamicTypeInterface
{
public:
    vnParseResult read(vnXmlSax* sax, const vnString& type, vnDynamicType& value) override
    {
        EXPECT_EQ(type, "celsius");
        value = vnDynamicType(sax->getCurrentAttribute("degrees").real());
        return sax->isCurrentElementEmpty() ? VN_PARSE_OK : VN_PARSE_NO_MATCH;
    }
    void write(vnXmlSax* sax, const vnDynamicType& value) override
    {
        ++count;
        sax->writeAttribute("degrees", vnString::formatString("%g", value.getNumber()));
    }

    unsigned int count = 0; // of those written
};

/// An object whose form is its class.
class Bare : public vnXmlObjectInterface
{
public:
    vnParseResult read(vnXmlSax*, const vnString&, vnRefPointer<vnObject>& object) override
    {
        object = new vnObject;
        return VN_PARSE_OK;
    }
    void write(vnXmlSax*, const vnObject*) override {}
};

/// An object as a value.
class Held : public vnXmlDynamicTypeInterface
{
public:
    vnParseResult read(vnXmlSax* sax, const vnString&, vnDynamicType& value) override
    {
        vnRefPointer<vnObject> object;
        const vnParseResult result =
            vnXmlObjectInterface::getObjectInterface("vnObject")->read(sax, "vnObject", object);
        if (sax->getCurrentAttribute("use") == "hold")
            value = vnDynamicType(object.get());
        return result;
    }
    void write(vnXmlSax*, const vnDynamicType&) override {}
};

/// A text of its own.
class Note : public vnXmlCustomDataInterface
{
public:
    vnParseResult read(vnXmlSax* sax, const vnString& name, vnRefPointer<vnReference>& data) override
    {
        EXPECT_EQ(name, "note");
        if (sax->isCurrentElementEmpty())
            return VN_PARSE_ERROR; // without a word
        data = new vnXmlCharData("x");
        return sax->XML_read_14();
    }
    void write(vnXmlSax* sax, const vnReference*) override
    {
        sax->beginElementContents();
        sax->writeGenericString("text");
    }
};
} // namespace

TEST(vnXmlDynamicType, UsesTheApplicationsInterfaceOfATag)
{
    using Values = vnXmlDynamicTypeInterface;
    const vnRefPointer<Values> builtin = Values::getDynamicTypeInterface("str");
    EXPECT_STREQ(builtin->getTypeName(), "vnXmlDynamicTypeInterface_builtin");
    EXPECT_EQ(Values::getDynamicTypeInterface("celsius").get(), builtin.get());
    vnRefPointer<Celsius> celsius(new Celsius);
    Values::registerDynamicTypeInterface("celsius", celsius);
    Values::registerDynamicTypeInterface("num", new Celsius); // goes when it is replaced
    Values::registerDynamicTypeInterface("num", celsius);
    Values::registerDynamicTypeInterface("other", nullptr);
    EXPECT_EQ(Values::getDynamicTypeInterface("celsius").get(), celsius.get());
    EXPECT_TRUE(read("<vnDyn type='celsius' degrees='21.5'/>") == vnDynamicType(21.5));
    EXPECT_FALSE(Told("<x><vnDyn type='celsius'>2<y/></vnDyn></x>").hasError()); // content of an element
    EXPECT_EQ(
        arrayOf({1.0, vnDynamicTypeTimeTagged(0, 2.0)}).asString(1),
        R"(<vnDyn type="num" index="0.000000" degrees="1"/>)"
        R"(<vnDyn type="ttag" index="1.000000" encoding="hex">FC13000D0000000000000000FC02000102</vnDyn>)");
    EXPECT_EQ(vnDynamicTypeTimeTagged(0, 2.0).asString(), R"(<vnDyn time="0.000000" degrees="2"/>)");
    // What fits no string is not written to its end.
    celsius->count = 0;
    EXPECT_THROW(
        vnDynamicTypeArray(vnArray<vnDynamicType>(std::vector<vnDynamicType>(10000, 1.0).data(), 10000))
            .asString(),
        vnFatalError);
    EXPECT_LT(celsius->count, 2000u);
    celsius->ref();
    Values::unregisterDynamicTypeInterface(celsius);
    EXPECT_EQ(celsius->unrefNoDelete(), 1u); // from both tags
    EXPECT_EQ(Values::getDynamicTypeInterface("num").get(), builtin.get());
    EXPECT_EQ(vnDynamicType(1.0).asString(1), "1");
}

TEST(vnXmlDynamicType, KeepsACircleOfObjectsThatSomebodyHoldsAndNoOther)
{
    const vnRefPointer<vnObject> inner(new vnObject);
    const vnRefPointer<vnObject> outer(new vnObject);
    outer->addUserData("inner", inner);
    inner->addUserData("outer", outer);
    inner->setAttribute("data", "a", 1.5);
    const std::string circle = outer->asString(1).getString();
    outer->removeAllUserData();
    const vnRefPointer<Held> held(new Held);
    vnXmlDynamicTypeInterface::registerDynamicTypeInterface("held", held);
    const vnDynamicType value = read("<vnDyn type='held' use='hold'>" + circle + valueEnd);
    read("<vnDyn type='held'>" + circle + valueEnd); // lost memory if they stay
    vnXmlDynamicTypeInterface::unregisterDynamicTypeInterface(held);
    auto* const first = dynamic_cast<vnObject*>(value.getReference());
    ASSERT_TRUE(first);
    auto* const second = dynamic_cast<vnObject*>(first->getUserData("inner"));
    ASSERT_TRUE(second);
    EXPECT_EQ(second->getAttribute("data", "a").getNumber(), 1.5);
    EXPECT_EQ(second->getUserData("outer"), first);
    first->removeAllUserData();
}

TEST(vnXmlDynamicType, UsesTheApplicationsInterfaceOfAClass)
{
    using Objects = vnXmlObjectInterface;
    EXPECT_STREQ(Objects::getObjectInterface("vnObject")->getTypeName(), "vnXmlObjectInterface_builtin");
    Objects::registerObjectInterface("vnObject", new Bare);
    const vnRefPointer<Objects> bare = Objects::getObjectInterface("vnObject");
    EXPECT_EQ(vnObject().asString(), R"(<vnObj type="vnObject"/>)");
    EXPECT_TRUE(Told(R"(<vnObj type="vnObject"/>)").objects.at(0));
    Objects::unregisterObjectInterface(bare);
    EXPECT_TRUE(Told(R"(<vnObj type="vnObject"/>)").objects.empty());
}

TEST(vnXmlDynamicType, UsesTheApplicationsInterfaceOfAnElement)
{
    using Custom = vnXmlCustomDataInterface;
    EXPECT_EQ(Custom::getCustomDataInterface("note").get(), nullptr);
    const std::string document = "<doc>\n<note>text</note>\n<notes/></doc>";
    EXPECT_EQ(Told(document).log, "");
    Custom::registerCustomDataInterface("note", new Note);
    const vnRefPointer<Custom> note = Custom::getCustomDataInterface("note");
    EXPECT_STREQ(note->getDescription().getString(), note->getTypeName());
    EXPECT_EQ(Told(document).log, "2 vnXmlCharData note\n");
    EXPECT_EQ(errorOf("<note/>"), "Invalid or unknown data for vnDynamicType");
    const vnRefPointer<vnXmlCharData> data(new vnXmlCharData("x"));
    const auto writtenAs = [](const char* name, const vnReference* reference)
    { return vnOutputOf([=](vnXmlSax& sax) { sax.writeCustomData(name, reference, 1); }); };
    EXPECT_EQ(writtenAs("note", data), "<note>text</note>");
    EXPECT_EQ(writtenAs("note", nullptr), "<note>text</note>");
    EXPECT_EQ(writtenAs("other", nullptr), "<other/>");
    vnRefPointer<vnXmlDom> dom(new vnXmlDom);
    vnReadText(*dom, "<doc><note a=\"1\">text</note></doc>");
    EXPECT_EQ(vnOutputOf([&](vnXmlSax& sax) { dom->findItem("doc")->write(&sax); }),
              "<doc><note a=\"1\">text</note></doc>");
    Custom::unregisterCustomDataInterface(note);
    EXPECT_EQ(Told(document).log, "");
}

TEST(vnXmlDynamicType, LosesNoInterfaceBetweenThreads)
{
    const std::string text = "<vnDyn type='array'><vnDyn type='celsius' degrees='1'/></vnDyn>";
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i)
        threads.emplace_back(
            [&]
            {
                for (int round = 0; round < 200; ++round)
                {
                    const vnRefPointer<Celsius> celsius(new Celsius);
                    vnXmlDynamicTypeInterface::registerDynamicTypeInterface("celsius", celsius);
                    vnXml2DynamicType(text.data(), static_cast<unsigned int>(text.size()));
                    vnXmlDynamicTypeInterface::unregisterDynamicTypeInterface(celsius);
                }
            });
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_STREQ(vnXmlDynamicTypeInterface::getDynamicTypeInterface("celsius")->getTypeName(),
                 "vnXmlDynamicTypeInterface_builtin");
}
