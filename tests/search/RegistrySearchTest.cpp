#include "SearchFixture.h"

using namespace tvtest;

namespace {

struct Expect {
    const wchar_t* property;
    const wchar_t* value;  // the property after the run
};

}  // namespace

// Every registry kind, found and not found, against real keys of the prefix.
TEST_F(AppSearchTest, RegistryKindsFindWhatIsThere) {
    SetText(HKEY_CURRENT_USER, L"", L"Str", L"1.2.3");
    SetText(HKEY_CURRENT_USER, L"", L"", L"default text");
    const DWORD five = 5;
    SetValue(HKEY_CURRENT_USER, L"", L"Num", REG_DWORD, &five, sizeof(five));
    const wchar_t multi[] = L"a\0b\0";
    SetValue(HKEY_CURRENT_USER, L"", L"Multi", REG_MULTI_SZ, multi, sizeof(multi));
    const BYTE bytes[] = {1, 2};
    SetValue(HKEY_CURRENT_USER, L"", L"Bin", REG_BINARY, bytes, sizeof(bytes));
    SetValue(HKEY_CURRENT_USER, L"", L"Empty", REG_SZ, L"", 0);
    CreateKey(HKEY_CURRENT_USER, L"Subs\\1.0");
    CreateKey(HKEY_CURRENT_USER, L"Subs\\2.5");
    CreateKey(HKEY_CURRENT_USER, L"Bare");
    // Created in name order: Wine lists values sorted, Windows as created.
    SetText(HKEY_CURRENT_USER, L"Values", L"0.9", L"x");
    SetText(HKEY_CURRENT_USER, L"Values", L"3.1", L"x");
    SetText(HKEY_LOCAL_MACHINE, L"", L"Machine", L"7.0");

    const std::wstring cu = KeyPath(L"HKCU");
    const std::wstring lower = KeyPath(L"hkey_current_user");
    const std::wstring missing = cu + L"\\Missing";
    const SearchRowSpec rows[] = {
        {L"SUBKEYS", 1, cu + L"\\Subs", L"2.0"},
        {L"NOSUBKEYS", 1, cu + L"\\Bare"},
        {L"VALUE", 2, cu + L"\\Str"},
        {L"VALUELOWER", 2, lower + L"\\Str", L"1.2"},
        {L"VALUEDEFAULT", 2, cu + L"\\"},
        {L"VALUEDWORD", 2, cu + L"\\Num"},
        {L"VALUEMISSING", 2, cu + L"\\Nope"},
        {L"VALUEMACHINE", 2, KeyPath(L"HKLM") + L"\\Machine", L"", L"", L"1"},
        {L"VALUEMACHINE32", 2, KeyPath(L"HKEY_LOCAL_MACHINE") + L"\\Machine", L"", L"", L"0"},
        {L"KEYEXISTS", 5, cu + L"\\Bare"},
        {L"KEYEXISTSNOT", 5, missing},
        {L"KEYABSENT", 6, missing},
        {L"KEYABSENTNOT", 6, cu},
        {L"NOROOT", 6, L"NoBackslashAtAll"},
        {L"VALEXISTS", 7, cu + L"\\Bin"},
        {L"VALEXISTSNOT", 7, cu + L"\\Nope"},
        {L"VALABSENT", 8, missing + L"\\Str"},
        {L"VALABSENTNOT", 8, cu + L"\\Str"},
        {L"CONTENTG", 9, cu + L"\\Num", L"", L"", L"", L"G3"},
        {L"CONTENTGA", 9, cu + L"\\Num", L"", L"", L"", L"G3a"},
        {L"CONTENTL", 9, cu + L"\\Num", L"", L"", L"", L"L"},
        {L"CONTENTC", 9, cu + L"\\Empty", L"", L"", L"", L"C"},
        {L"CONTENTM", 9, cu + L"\\Multi", L"", L"", L"", L"Eb"},
        {L"CONTENTBIN", 9, cu + L"\\Bin", L"", L"", L"", L"C"},
        {L"CONTENTX", 9, cu + L"\\Nope", L"", L"", L"", L"Xzzz"},
        {L"CONTENTNOSLASH", 9, L"Str", L"", L"", L"", L"C"},
        {L"SUBVALUES", 12, cu + L"\\Values", L"3.0", L"", L"1"},
        {L"SUBVALUESLOW", 12, cu + L"\\Values", L"5.0"},
        {L"SUBVALUESNONE", 12, cu + L"\\Bare"},
    };
    for (const SearchRowSpec& row : rows) AddSearch(row);
    Open();
    ASSERT_EQ(Call("DoAppSearchEx"), 0u);

    const Expect expected[] = {
        {L"SUBKEYS", L"1.0, 2.5"},      {L"SUBKEYSTvVerFound", L"1.0, 2.5"},
        {L"NOSUBKEYS", L""},            {L"VALUE", L"1"},
        {L"VALUETvVerFound", L"1.2.3"}, {L"VALUELOWER", L"1.2.3"},
        {L"VALUEDEFAULT", L"1"},        {L"VALUEDEFAULTTvVerFound", L"default text"},
        {L"VALUEDWORD", L"1"},          {L"VALUEMISSING", L""},
        {L"VALUEMACHINE", L"1"},        {L"VALUEMACHINETvVerFound", L"7.0"},
        {L"VALUEMACHINE32", L"1"},      {L"KEYEXISTS", L"1"},
        {L"KEYEXISTSNOT", L""},         {L"KEYABSENT", L"1"},
        {L"KEYABSENTNOT", L""},         {L"NOROOT", L"1"},
        {L"VALEXISTS", L"1"},           {L"VALEXISTSNOT", L""},
        {L"VALABSENT", L"1"},           {L"VALABSENTNOT", L""},
        {L"CONTENTG", L"1"},            {L"CONTENTGA", L""},
        {L"CONTENTL", L""},             {L"CONTENTC", L"1"},
        {L"CONTENTM", L"1"},            {L"CONTENTBIN", L""},
        {L"CONTENTX", L""},             {L"CONTENTNOSLASH", L""},
        {L"SUBVALUES", L"0.9, 3.1"},    {L"SUBVALUESTvVerMin", L"3.0"},
        {L"SUBVALUESLOW", L""},         {L"SUBVALUESLOWTvVerFound", L"0.9, 3.1"},
        {L"SUBVALUESNONE", L""},
    };
    for (const Expect& e : expected) EXPECT_EQ(Property(e.property), e.value) << Narrow(e.property);
    // A DWORD read as a version is its bytes taken for text: not the number.
    EXPECT_NE(Property(L"VALUEDWORDTvVerFound"), L"5");
}
