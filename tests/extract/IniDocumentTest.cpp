// The launcher's .ini file: names matched without case, values replaced in
// place, the two switches for empty values and sections, and the bytes.
#include "Harness.h"
#include "extract/IniDocument.h"

using namespace tvtest;

namespace {

// Sections A (one empty value, one set), B (no entries), C (only an empty
// value), each key set twice with another case.
void Fill(tv::IniDocument& ini) {
    ini.Section(L"A").Set(L"x", L"first");
    ini.Section(L"b");
    ini.Section(L"A").Set(L"y", L"1");
    ini.Section(L"a").Set(L"X", L"");
    ini.Section(L"C").Set(L"z", L"=\"q\"\x0001");
    ini.Section(L"c").Set(L"Z", L"");
}

std::string Utf16WithBom(const std::wstring& text) {
    return "\xFF\xFE" + std::string(reinterpret_cast<const char*>(text.data()), text.size() * sizeof(wchar_t));
}

}  // namespace

TEST(IniDocument, SwitchesForEmptyValuesAndSections) {
    struct Case {
        bool skipValues, skipSections;
        std::wstring text;
    };
    const Case cases[] = {
        {false, false, L"[A]\r\nx=\r\ny=1\r\n[b]\r\n[C]\r\nz=\r\n"},
        {true, false, L"[A]\r\ny=1\r\n[b]\r\n[C]\r\n"},
        {false, true, L"[A]\r\nx=\r\ny=1\r\n[C]\r\nz=\r\n"},
        // A section whose values are all empty keeps its header.
        {true, true, L"[A]\r\ny=1\r\n[C]\r\n"},
    };
    for (const Case& c : cases) {
        tv::IniDocument ini;
        ini.skipEmptyValues = c.skipValues;
        ini.skipEmptySections = c.skipSections;
        Fill(ini);
        EXPECT_EQ(ini.Text(), c.text) << c.skipValues << c.skipSections;
    }
}

TEST(IniDocument, WritesUtf16WithByteOrderMarkOnlyWhenThereIsText) {
    ScratchFolder folder(L"-ini");
    tv::IniDocument ini;
    ini.path = folder.path + L"\\out.ini";
    ini.Section(L"S").Set(L"k", L"v=\"w\"\x0001\x00e9");
    ini.Section(L"s").Set(L"K2", L"two");
    EXPECT_TRUE(ini.Write());
    EXPECT_EQ(ReadBytes(ini.path), Utf16WithBom(L"[S]\r\nk=v=\"w\"\x0001\x00e9\r\nK2=two\r\n"));

    const std::pair<const wchar_t*, bool> empties[] = {{nullptr, false}, {L"Empty", true}};
    for (const auto& [section, skipSections] : empties) {
        tv::IniDocument none;
        none.path = folder.path + L"\\none.ini";
        none.skipEmptySections = skipSections;
        if (section) none.Section(section);
        EXPECT_TRUE(none.Write());
        EXPECT_FALSE(folder.Exists(L"none.ini"));
    }

    tv::IniDocument unwritable;
    unwritable.path = folder.path + L"\\missing\\out.ini";
    unwritable.Section(L"S").Set(L"k", L"v");
    EXPECT_FALSE(unwritable.Write());
}
