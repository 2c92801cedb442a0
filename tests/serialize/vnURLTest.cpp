// SPDX-License-Identifier: MIT
#include <vnBase/vnURL.h>

#include <vnBase/vnGuidStringDict.h>

#include <gtest/gtest.h>

#include <string>

namespace
{
constexpr const char* guidText = "{6BA7B810-9DAD-11D1-80B4-00C04FD430C8}";

// "base path name attributes", joined by "|"; "absolute" and "invalid" behind them where they hold.
std::string split(const std::string& url)
{
    vnString base, path, name, attributes;
    unsigned char valid = 2;
    const vnString text(url.data(), static_cast<unsigned short>(url.size()));
    const unsigned char absolute =
        vnSerializeAdapter::getURLBaseEncoding(text, &base, &path, &name, &attributes, &valid);
    std::string result = base.getString();
    for (const vnString& part : {path, name, attributes})
        result += std::string("|") + part.getString();
    return result + (absolute ? " absolute" : "") + (valid ? "" : " invalid");
}

void expectParts(std::initializer_list<std::pair<const char*, const char*>> rows)
{
    for (const auto& [url, parts] : rows)
        EXPECT_EQ(split(url), parts) << url;
}
} // namespace

TEST(vnURL, SplitsIntoBasePathNameAndAttributes)
{
    expectParts({
        {"http://host/dir/file.txt?a=1&b=2", "http:|//host/dir/|file.txt|a=1&b=2 absolute"},
        {"HTTP://Host/A", "http:|//Host/|A| absolute"}, // the base in lower case, nothing else
        {"c:\\dir\\a.txt", "c:|/dir/|a.txt| absolute"},
        {"dir/a.txt", "|dir/|a.txt|"},
        {"/a.txt", "|/|a.txt| absolute"}, // for its path
        {"\\a.txt", "|/|a.txt| absolute"},
        {"file:x", "file:||x| absolute"},
        {"a.txt", "||a.txt|"},
        {"", "|||"},
        {":", "||:|"},      // neither a base nor a name
        {":a/b", "|a/|b|"}, // the colon goes
        {"mem:", "mem:||| absolute"},
        {"dir/", "|dir/||"},
        {"a?b?c", "||a?b|c"},               // the last question mark
        {"a?b/c\\d", "||a|b/c/d"},          // slashes, also in the attributes
        {"a?x=1:2", "a?x=1:||2| absolute"}, // the first colon, wherever it stands
        {"a\\b:c", "a/b:||c| absolute"},
        {"?x=1", "|||x=1"},
    });
}

TEST(vnURL, LooksIntoArchivesAndPipesByTheirOwnSyntax)
{
    expectParts({
        {"zip:{file:a.zip},dir/b.txt?x=1", "zip:|{file:a.zip},|dir/b.txt|x=1 absolute"},
        {"ZIP:{a},b", "zip:|{a},|b| absolute"},
        {"zip:{a?b},c?d?e", "zip:|{a?b},|c|d?e absolute"}, // the first question mark behind the braces
        {"zip:{},c", "zip:|{},|c| absolute"},
        {"zip:a.zip", "zip:||| absolute invalid"},
        {"zip:{a.zip}", "zip:||| absolute invalid"},
        {"zip:{a.zip},", "zip:||| absolute invalid"},
        {"zip:{a.zip},?x", "zip:||| absolute invalid"},
        {"zip:{a}b},c", "zip:||| absolute invalid"}, // the first closing brace ends the archive
        {"zip:", "zip:||| absolute invalid"},
        {"purl:name,http://host/dir/a?x=1", "purl:|name,http://host/dir/|a|x=1 absolute"},
        {"purl:,a", "purl:|,|a| absolute"},
        {"purl:a,purl:b,c/d?e", "purl:|a,purl:b,c/|d|e absolute"},
        {"purl:name", "purl:||| absolute invalid"},
        {"purl:name,", "purl:||| absolute invalid"},
        {"purl:name,?x", "purl:||| absolute invalid"},
        {"purl:name,zip:a", "purl:||| absolute invalid"}, // the URL within has to be right, too
    });
}

TEST(vnURL, MovesACacheSpecificationToTheFront)
{
    expectParts({
        {"http://host/cache:0,100,file", "cache:|0,100,http://host/|file| absolute"},
        {"http://host/CaChE:0,100,file?x=1", "cache:|0,100,http://host/|file|x=1 absolute"},
        {"cache:0,100,file", "cache:||0,100,file| absolute"},
        {"cache: 5.9 ,-0x10,a/b", "cache:|5,-16,a/|b| absolute"}, // numbers are read as texts are
        {"dir/cache:x,y,z", "cache:|0,0,dir/|z| absolute"},
        {"cache:4294967295,2147483647,f", "cache:||4294967295,2147483647,f| absolute"},
        {"cache:-1,99999999999,f", "cache:||0,2147483647,f| absolute"}, // the nearest numbers
        {"a/cache:1,2,b/cache:3,4,c", "cache:|1,2,a/b/|cache:3,4,c| absolute"},
        {"http://host/cache:0,100", "http:|//host/|cache:0,100| absolute"},
        {"http://host/cache:,100,f", "http:|//host/|cache:,100,f| absolute"},
        {"http://host/cache:0,,f", "http:|//host/|cache:0,,f| absolute"},
        {"http://host/cache:0,1,", "http:|//host/|cache:0,1,| absolute"},
        {"ache:0,1,f", "ache:||0,1,f| absolute"},
    });
}

TEST(vnURL, LeavesACacheSpecificationThatWouldNotFit)
{
    const std::string front(65535 - 15, 'f');
    EXPECT_EQ(split(front + "cache:1e9,1,abc").substr(0, 3), "fff");
    EXPECT_EQ(split(front + "cache:100,1,abc").substr(0, 15), "cache:||100,1,f");
}

TEST(vnURL, ReadsGUIDsInBracesAsTheirURLs)
{
    EXPECT_EQ(split(guidText), std::string("||") + guidText + "|"); // an unknown one is a name
    vnGUID guid;
    ASSERT_TRUE(guid.setString(guidText));
    vnGuidStringDict::enter(guid, "http://host/dir/a?b");
    EXPECT_EQ(split(guidText), "http:|//host/dir/|a|b absolute");
    EXPECT_EQ(split(std::string("file:/") + guidText), std::string("file:|/|") + guidText + "| absolute");
    vnGuidStringDict::remove(guid);
}

TEST(vnURL, SplitsNestedPipesDownToTheLimit)
{
    const auto nested = [](unsigned int depth)
    {
        std::string url;
        while (depth-- > 0)
            url += "purl:,";
        return url + "a";
    };
    EXPECT_EQ(split(nested(31)).find("invalid"), std::string::npos);
    EXPECT_NE(split(nested(32)).find("invalid"), std::string::npos);
    EXPECT_NE(split(nested(10000)).find("invalid"), std::string::npos);
    vnSerializeAdapter::setMaxURLDepth(2);
    EXPECT_EQ(split(nested(1)), "purl:|,|a| absolute");
    EXPECT_EQ(split(nested(2)), "purl:||| absolute invalid");
    vnSerializeAdapter::setMaxURLDepth(32);
}

TEST(vnURL, FillsOutputsThatAreTheURLItself)
{
    vnString url("http://host/a?b");
    EXPECT_EQ(vnSerializeAdapter::getURLBaseEncoding(url, nullptr, &url, nullptr, nullptr, nullptr), 1);
    EXPECT_EQ(url, "//host/");
}

TEST(vnURL, FindsAttributes)
{
    const struct
    {
        const char* attribute;
        const char* attributes;
        const char* value;
    } rows[] = {
        {"a", "a", "true"},
        {"a", "b=1&amp;a=2", "2"},
        {"q", "", "z"},
        {"a", "a=1&a=2", "1"},
        {"a", "A=1", "z"},
        {"a", "b=a", "z"},
        {"a", "ab=1&a=", ""},
        {"a", "a=b=c", "b=c"},
        {"a", "b=1&a=2&amp;c=3", "z"}, // as long as a "&amp;" stands behind it, a "&" parts nothing
        {"b", "b=1&a=2&amp;c=3", "1&a=2"},
        {"d", "b=1&amp;c=2&d=3", "3"}, // behind the last one it does
        {"amp;a", "&amp;a=1&amp", "z"},
        {"", "a&&b", "true"},
    };
    for (const auto& row : rows)
        EXPECT_EQ(vnSerializeAdapter::getURLAttributeValue(row.attribute, row.attributes, "z"), row.value)
            << row.attribute << " in " << row.attributes;
    EXPECT_TRUE(vnSerializeAdapter::hasURLAttributeValue("a", "b&a"));
    EXPECT_FALSE(vnSerializeAdapter::hasURLAttributeValue("a", "b&a="));
    EXPECT_FALSE(vnSerializeAdapter::hasURLAttributeValue("c", "b&a="));
}

TEST(vnURL, FindsAttributesOfLongTextsInOneWalk)
{
    std::string many; // a walk that looked for "&amp;" from each item to the end would take seconds
    while (many.size() < 65000)
        many += "&";
    EXPECT_EQ(vnSerializeAdapter::getURLAttributeValue("z", (many + "z=9").c_str(), ""), "9");
}

TEST(vnURL, TellsWhereDirectoriesMayBe)
{
    for (const char* url : {"dir/a", "c:\\dir", "C:", "", "/a"})
        EXPECT_TRUE(vnIsDirURL(url)) << url;
    for (const char* url : {"file:a", "http://host/", "ab:c"})
        EXPECT_FALSE(vnIsDirURL(url)) << url;
}
