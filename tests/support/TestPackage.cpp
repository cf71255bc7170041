#include "TestPackage.h"
#include <msiquery.h>
#include <msidefs.h>
#include <wtypes.h>
#include <objbase.h>
#include <algorithm>
#include <cstdio>
#include <stdexcept>
#include "frame/MsiHandle.h"
#include "frame/TableSchema.h"
#include "platform/Utf8.h"
#include "platform/KernelHandle.h"
#include "prereq/Prerequisite.h"

namespace tvtest {

namespace {

void Check(UINT rc, const char* what) {
    if (rc != ERROR_SUCCESS) throw std::runtime_error(std::string(what) + " failed: " + std::to_string(rc));
}

}  // namespace

std::string Narrow(const std::wstring& text) { return tv::ToUtf8(text); }

std::wstring Widen(const std::string& text) { return tv::FromUtf8(text); }

std::wstring NewGuid() {
    GUID guid;
    ::CoCreateGuid(&guid);
    wchar_t text[40];
    ::StringFromGUID2(guid, text, 40);
    return text;
}

InstalledProduct::InstalledProduct(const std::wstring& packagePath, const std::wstring& productCode,
                                   const std::wstring& commandLine)
    : mProductCode(productCode) {
    ::MsiSetInternalUI(INSTALLUILEVEL_NONE, nullptr);
    mResult = ::MsiInstallProductW(packagePath.c_str(), commandLine.c_str());
}

InstalledProduct::~InstalledProduct() {
    if (mResult == ERROR_SUCCESS)
        ::MsiConfigureProductW(mProductCode.c_str(), INSTALLLEVEL_DEFAULT, INSTALLSTATE_ABSENT);
}

std::wstring TestPackage::TempPath(const std::wstring& suffix) {
    wchar_t folder[MAX_PATH];
    ::GetTempPathW(MAX_PATH, folder);
    static unsigned counter = 0;
    wchar_t name[64];
    std::swprintf(name, 64, L"tvtest-%lu-%u", ::GetCurrentProcessId(), ++counter);
    return std::wstring(folder) + name + suffix;
}

TestPackage::TestPackage() : mPath(TempPath(L".msi")), mProductCode(NewGuid()) {
    Check(::MsiOpenDatabaseW(mPath.c_str(), MSIDBOPEN_CREATE, &mDatabase), "MsiOpenDatabase");
    MSIHANDLE info = 0;
    Check(::MsiGetSummaryInformationW(mDatabase, nullptr, 20, &info), "MsiGetSummaryInformation");
    ::MsiSummaryInfoSetPropertyW(info, PID_TEMPLATE, VT_LPSTR, 0, nullptr, L"Intel;1033");
    ::MsiSummaryInfoSetPropertyW(info, PID_REVNUMBER, VT_LPSTR, 0, nullptr, NewGuid().c_str());
    ::MsiSummaryInfoSetPropertyW(info, PID_PAGECOUNT, VT_I4, 200, nullptr, nullptr);
    ::MsiSummaryInfoSetPropertyW(info, PID_WORDCOUNT, VT_I4, 2, nullptr, nullptr);
    ::MsiSummaryInfoSetPropertyW(info, PID_SUBJECT, VT_LPSTR, 0, nullptr, L"tvprereq test package");
    ::MsiSummaryInfoPersist(info);
    ::MsiCloseHandle(info);
    Property(L"ProductCode", mProductCode);
    Property(L"ProductName", L"TV Test Product");
    Property(L"ProductVersion", L"1.0.0");
    Property(L"Manufacturer", L"TV Tests");
    Property(L"ProductLanguage", L"1033");
}

TestPackage::~TestPackage() {
    if (mSession) ::MsiCloseHandle(mSession);
    if (mDatabase) ::MsiCloseHandle(mDatabase);
    if (!mKeep) ::DeleteFileW(mPath.c_str());
}

MSIHANDLE TestPackage::Database() { return mDatabase; }

void TestPackage::EnsureTable(const std::wstring& name) {
    if (std::find(mTables.begin(), mTables.end(), name) != mTables.end()) return;
    const std::wstring& sql = tv::CreateTableSql(name);
    if (sql.empty()) throw std::runtime_error("no schema for table " + Narrow(name));
    TableSql(sql);
    mTables.push_back(name);
}

TestPackage& TestPackage::Table(const std::wstring& name) {
    EnsureTable(name);
    return *this;
}

TestPackage& TestPackage::TableSql(const std::wstring& createSql) {
    MSIHANDLE view = 0;
    Check(::MsiDatabaseOpenViewW(mDatabase, createSql.c_str(), &view), "CREATE TABLE view");
    UINT rc = ::MsiViewExecute(view, 0);
    ::MsiCloseHandle(view);
    Check(rc, "CREATE TABLE");
    // Remember tables created by SQL so Row() does not try a known schema.
    const auto start = createSql.find(L'`');
    const auto end = createSql.find(L'`', start + 1);
    if (start != std::wstring::npos && end != std::wstring::npos)
        mTables.push_back(createSql.substr(start + 1, end - start - 1));
    return *this;
}

TestPackage& TestPackage::Row(const std::wstring& table, const std::vector<Value>& values) {
    if (std::find(mTables.begin(), mTables.end(), table) == mTables.end()) EnsureTable(table);
    tv::MsiHandle view;
    Check(::MsiDatabaseOpenViewW(mDatabase, (L"SELECT * FROM `" + table + L"`").c_str(), view.Put()), "SELECT view");
    Check(::MsiViewExecute(view.Get(), 0), "SELECT execute");
    tv::MsiHandle record(::MsiCreateRecord(static_cast<UINT>(values.size())));
    for (size_t i = 0; i < values.size(); ++i) {
        const UINT field = static_cast<UINT>(i + 1);
        const Value& value = values[i];
        if (auto n = std::get_if<int>(&value)) ::MsiRecordSetInteger(record.Get(), field, *n);
        else if (auto s = std::get_if<std::wstring>(&value)) ::MsiRecordSetStringW(record.Get(), field, s->c_str());
        else if (auto c = std::get_if<const wchar_t*>(&value)) ::MsiRecordSetStringW(record.Get(), field, *c);
        else if (auto stream = std::get_if<Stream>(&value)) {
            // The installer takes a stream from a file only; the record reads
            // it at once, so the file can go right after.
            const std::wstring file = TempPath(L".bin");
            {
                tv::KernelHandle out(::CreateFileW(file.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr));
                if (!out) throw std::runtime_error("cannot write a stream file");
                DWORD written = 0;
                if (!stream->bytes.empty())
                    ::WriteFile(out.Get(), stream->bytes.data(), static_cast<DWORD>(stream->bytes.size()), &written, nullptr);
            }
            const UINT rc = ::MsiRecordSetStreamW(record.Get(), field, file.c_str());
            ::DeleteFileW(file.c_str());
            Check(rc, "MsiRecordSetStream");
        }
    }
    Check(::MsiViewModify(view.Get(), MSIMODIFY_INSERT, record.Get()), "MsiViewModify insert");
    return *this;
}

TestPackage& TestPackage::Property(const std::wstring& name, const std::wstring& value) {
    return Row(L"Property", {name, value});
}

TestPackage& TestPackage::Prereq(const std::map<std::wstring, Value>& cells) {
    for (const auto& [name, value] : cells) {
        const wchar_t* const* column = tv::gPrereqColumns;
        while (*column && name != *column) ++column;
        if (!*column) throw std::runtime_error("no TV_PreRequisite column " + Narrow(name));
    }
    std::vector<Value> values;
    for (const wchar_t* const* column = tv::gPrereqColumns; *column; ++column) {
        auto it = cells.find(*column);
        values.push_back(it == cells.end() ? Value(Null{}) : it->second);
    }
    return Row(L"TV_PreRequisite", values);
}

TestPackage& TestPackage::Product(const std::vector<std::wstring>& features, int componentAttributes) {
    Row(L"Directory", {L"TARGETDIR", Null{}, L"SourceDir"});
    for (const auto& feature : features) {
        const std::wstring component = L"C_" + feature;
        Row(L"Feature", {feature, Null{}, feature, Null{}, 1, 1, Null{}, 0});
        Row(L"Component", {component, NewGuid(), L"TARGETDIR", componentAttributes, Null{}, Null{}});
        Row(L"FeatureComponents", {feature, component});
    }
    const std::pair<const wchar_t*, int> sequence[] = {
        {L"CostInitialize", 800},    {L"FileCost", 900},          {L"CostFinalize", 1000},
        {L"InstallValidate", 1400},  {L"InstallInitialize", 1500}, {L"ProcessComponents", 1600},
        {L"RegisterProduct", 6100},  {L"PublishFeatures", 6300},  {L"PublishProduct", 6400},
        {L"InstallFinalize", 6600},
    };
    for (const auto& [action, number] : sequence) Row(L"InstallExecuteSequence", {action, Null{}, number});
    return *this;
}

const std::wstring& TestPackage::Build() {
    if (!mBuilt) {
        Check(::MsiDatabaseCommit(mDatabase), "MsiDatabaseCommit");
        ::MsiCloseHandle(mDatabase);
        mDatabase = 0;
        mBuilt = true;
    }
    return mPath;
}

MSIHANDLE TestPackage::OpenSession() {
    Build();
    ::MsiSetInternalUI(INSTALLUILEVEL_NONE, nullptr);
    Check(::MsiOpenPackageW(mPath.c_str(), &mSession), "MsiOpenPackage");
    return mSession;
}

}  // namespace tvtest
