#pragma once
#include <string>

namespace tv {

// The CREATE TABLE statement of the library's own tables and of the
// installer's standard tables that packages of it are built with; empty
// for any other name. One definition for the authors' tool, which writes
// these tables into packages, and the tests, which build packages.
const std::wstring& CreateTableSql(const std::wstring& table);

}  // namespace tv
