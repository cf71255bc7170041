#pragma once
#include <windows.h>
#include <msi.h>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>
#include "frame/MsiTableReader.h"

namespace tv {

// One walked row: the cell texts in the order of the column list.
class RowCallback {
public:
    virtual ~RowCallback() = default;
    // False stops the walk.
    virtual bool OnRow(const std::vector<std::wstring>& cells) = 0;
};

// One cell of ReadFullTable, alive only during its callback.
class TableCell {
public:
    TableCell(std::wstring text, const std::vector<std::uint8_t>* binary)
        : mText(std::move(text)), mBinary(binary) {}
    virtual ~TableCell() = default;
    virtual const std::wstring& GetText() const { return mText; }
    // The bytes of a binary cell, or null.
    virtual const std::vector<std::uint8_t>* GetBinary() const { return mBinary; }

private:
    std::wstring mText;
    const std::vector<std::uint8_t>* mBinary;
};

class FullRowCallback {
public:
    virtual ~FullRowCallback() = default;
    virtual bool OnRow(const std::vector<TableCell>& cells) = 0;
};

using InstallStates = std::pair<INSTALLSTATE, INSTALLSTATE>;  // installed, action

// The session seen by the users of feature tables besides properties. The
// order of the operations is fixed; two slots are kept without a caller.
class SessionInterface {
public:
    virtual ~SessionInterface() = default;
    virtual std::wstring GetProperty(const std::wstring& name) = 0;
    // Column and sort lists end with a null pointer; the column list is required.
    virtual bool ReadTable(const std::wstring& table, const wchar_t* const* columnList,
                           const wchar_t* const* sortList, const wchar_t* where, RowCallback& callback) = 0;
    virtual bool ReadFullTable(const std::wstring& table, const wchar_t* const* columnList,
                               const wchar_t* const* sortList, const wchar_t* where, FullRowCallback& callback) = 0;
    virtual bool SetProperty(const std::wstring& name, const std::wstring& value) = 0;
    virtual bool EvaluateCondition(const std::wstring& condition) = 0;
    virtual bool GetFeatureValidStates(const std::wstring& feature, DWORD& states) = 0;
    virtual InstallStates GetFeatureState(const std::wstring& feature) = 0;
    virtual bool GetFeatureState(const std::wstring& feature, INSTALLSTATE& installed, INSTALLSTATE& action) = 0;
    virtual InstallStates GetComponentState(const std::wstring& component) = 0;
    virtual bool SetFeatureState(const std::wstring& feature, INSTALLSTATE state) = 0;
    virtual bool SetTargetPath(const std::wstring& folder, const std::wstring& path) = 0;
    virtual bool SetInstallLevel(int level) = 0;
    virtual std::wstring GetUiText(const std::wstring& key) = 0;
    virtual std::wstring GetErrorTemplate(int number) = 0;
    virtual int GetFeatureCost(const std::wstring& feature, MSICOSTTREE tree) = 0;
    virtual int QueryReserved() = 0;
    virtual bool IsInstalled() = 0;
    virtual std::wstring FormatText(const std::wstring& text) = 0;
    virtual void Notify(int value) = 0;
    virtual MsiTableReader& GetReader() = 0;
};

// The level between the interface and the installer's session: it answers
// the reserved query with 0.
class SessionBase : public SessionInterface {
public:
    int QueryReserved() override { return 0; }
};

// The installer's session. Borrows the handle and a reader open on the same
// session, which its creator owns and keeps alive longer.
class MsiSession : public SessionBase {
public:
    MsiSession(MSIHANDLE session, MsiTableReader& reader) : mSession(session), mReader(&reader) {}

    std::wstring GetProperty(const std::wstring& name) override;
    bool ReadTable(const std::wstring& table, const wchar_t* const* columnList, const wchar_t* const* sortList,
                   const wchar_t* where, RowCallback& callback) override;
    bool ReadFullTable(const std::wstring& table, const wchar_t* const* columnList, const wchar_t* const* sortList,
                       const wchar_t* where, FullRowCallback& callback) override;
    bool SetProperty(const std::wstring& name, const std::wstring& value) override;
    bool EvaluateCondition(const std::wstring& condition) override;
    bool GetFeatureValidStates(const std::wstring& feature, DWORD& states) override;
    InstallStates GetFeatureState(const std::wstring& feature) override;
    bool GetFeatureState(const std::wstring& feature, INSTALLSTATE& installed, INSTALLSTATE& action) override;
    InstallStates GetComponentState(const std::wstring& component) override;
    bool SetFeatureState(const std::wstring& feature, INSTALLSTATE state) override;
    bool SetTargetPath(const std::wstring& folder, const std::wstring& path) override;
    bool SetInstallLevel(int level) override;
    std::wstring GetUiText(const std::wstring& key) override;
    std::wstring GetErrorTemplate(int number) override;
    // Kilobytes for the feature's action state, or its installed state when
    // no action is set; 0 on failure.
    int GetFeatureCost(const std::wstring& feature, MSICOSTTREE tree) override;
    bool IsInstalled() override;
    std::wstring FormatText(const std::wstring& text) override;
    void Notify(int) override {}
    MsiTableReader& GetReader() override { return *mReader; }

private:
    MSIHANDLE mSession;
    MsiTableReader* mReader;
};

}  // namespace tv
