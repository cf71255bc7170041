#include "frame/TableSchema.h"
#include <map>

namespace tv {

const std::wstring& CreateTableSql(const std::wstring& table) {
    static const std::map<std::wstring, std::wstring> schemas = {
        {L"Property",
         L"CREATE TABLE `Property` (`Property` CHAR(72) NOT NULL, `Value` LONGCHAR NOT NULL LOCALIZABLE "
         L"PRIMARY KEY `Property`)"},
        {L"TV_PreRequisite",
         L"CREATE TABLE `TV_PreRequisite` (`PrereqKey` CHAR(72) NOT NULL, `DisplayName` CHAR(255), "
         L"`SetupFileUrl` CHAR(0), `Location` SHORT, `ExactSize` CHAR(32), `ComLine` CHAR(0), "
         L"`BasicUiComLine` CHAR(0), `NoUiComLine` CHAR(0), `Options` CHAR(64), `Sequence` LONG, "
         L"`MD5` CHAR(32), `TargetName` CHAR(255), `Languages` CHAR(255), `Feature_` CHAR(38), "
         L"`MissingCondition` CHAR(0), `RetValPropName` CHAR(72), `RepairComLine` CHAR(0), "
         L"`UninstallComLine` CHAR(0), `RunCustActBefore` CHAR(255), `RunCustActAfter` CHAR(255), "
         L"`InstallCondition` CHAR(0), `UninstallCondition` CHAR(0), `RepairCondition` CHAR(0), "
         L"`RollbackCondition` CHAR(0), `RollbackComLine` CHAR(0), `LogComLine` CHAR(0) "
         L"PRIMARY KEY `PrereqKey`)"},
        {L"TV_AppSearchEx",
         L"CREATE TABLE `TV_AppSearchEx` (`Property` CHAR(72) NOT NULL, `Condition` CHAR(0), `Type` SHORT, "
         L"`SearchString` CHAR(0), `VerMin` CHAR(32), `VerMax` CHAR(32), `Platform` CHAR(8), "
         L"`RefContent` CHAR(0), `PrereqSearch` CHAR(8), `Order` SHORT PRIMARY KEY `Property`)"},
        {L"Error",
         L"CREATE TABLE `Error` (`Error` SHORT NOT NULL, `Message` LONGCHAR LOCALIZABLE PRIMARY KEY `Error`)"},
        {L"UIText",
         L"CREATE TABLE `UIText` (`Key` CHAR(72) NOT NULL, `Text` CHAR(255) LOCALIZABLE PRIMARY KEY `Key`)"},
        {L"ActionText",
         L"CREATE TABLE `ActionText` (`Action` CHAR(72) NOT NULL, `Description` LONGCHAR LOCALIZABLE, "
         L"`Template` LONGCHAR LOCALIZABLE PRIMARY KEY `Action`)"},
        {L"Binary",
         L"CREATE TABLE `Binary` (`Name` CHAR(72) NOT NULL, `Data` OBJECT NOT NULL PRIMARY KEY `Name`)"},
        {L"Feature",
         L"CREATE TABLE `Feature` (`Feature` CHAR(38) NOT NULL, `Feature_Parent` CHAR(38), `Title` CHAR(64), "
         L"`Description` CHAR(255), `Display` SHORT, `Level` SHORT NOT NULL, `Directory_` CHAR(72), "
         L"`Attributes` SHORT NOT NULL PRIMARY KEY `Feature`)"},
        {L"Component",
         L"CREATE TABLE `Component` (`Component` CHAR(72) NOT NULL, `ComponentId` CHAR(38), "
         L"`Directory_` CHAR(72) NOT NULL, `Attributes` SHORT NOT NULL, `Condition` CHAR(255), "
         L"`KeyPath` CHAR(72) PRIMARY KEY `Component`)"},
        {L"FeatureComponents",
         L"CREATE TABLE `FeatureComponents` (`Feature_` CHAR(38) NOT NULL, `Component_` CHAR(72) NOT NULL "
         L"PRIMARY KEY `Feature_`, `Component_`)"},
        {L"Directory",
         L"CREATE TABLE `Directory` (`Directory` CHAR(72) NOT NULL, `Directory_Parent` CHAR(72), "
         L"`DefaultDir` CHAR(255) NOT NULL LOCALIZABLE PRIMARY KEY `Directory`)"},
        {L"CustomAction",
         L"CREATE TABLE `CustomAction` (`Action` CHAR(72) NOT NULL, `Type` SHORT NOT NULL, `Source` CHAR(72), "
         L"`Target` CHAR(255) PRIMARY KEY `Action`)"},
        {L"InstallExecuteSequence",
         L"CREATE TABLE `InstallExecuteSequence` (`Action` CHAR(72) NOT NULL, `Condition` CHAR(255), "
         L"`Sequence` SHORT PRIMARY KEY `Action`)"},
        {L"_Validation",
         L"CREATE TABLE `_Validation` (`Table` CHAR(32) NOT NULL, `Column` CHAR(32) NOT NULL, "
         L"`Nullable` CHAR(4) NOT NULL, `MinValue` LONG, `MaxValue` LONG, `KeyTable` CHAR(255), "
         L"`KeyColumn` SHORT, `Category` CHAR(32), `Set` CHAR(255), `Description` CHAR(255) "
         L"PRIMARY KEY `Table`, `Column`)"},
    };
    static const std::wstring none;
    auto it = schemas.find(table);
    return it == schemas.end() ? none : it->second;
}

}  // namespace tv
