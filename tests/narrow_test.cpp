// The narrow shim over iODBC: what it forwards to, and what it says where there is nothing.
#include <dlfcn.h>

#include <cstdio>
#include <sstream>

#include "gateway_fixture.h"
#include "shell/driver_kind.h"
#include "shim_folder.h"

namespace {

class NarrowShim : public GatewayTest {
protected:
    std::string Copy(const std::string& name) const
    {
        return folder.Copy(ORVELGW_NARROW_SHIM, name);
    }
    std::string Connect(const std::string& driver) const
    {
        return std::string(Call("DSNConnect", {"DRIVER=" + driver + ";Database=:memory:"}).Bytes());
    }

    const ShimFolder folder{};
};

// ODBC's functions of a driver, but for the wide ones, and what ODBC 2 needs besides.
constexpr char kExported[] =
    "AllocHandle BindCol BindParameter BrowseConnect BulkOperations Cancel CloseCursor "
    "ColAttribute ColumnPrivileges Columns Connect CopyDesc DescribeCol DescribeParam "
    "Disconnect DriverConnect EndTran ExecDirect Execute ExtendedFetch Fetch FetchScroll "
    "ForeignKeys FreeHandle FreeStmt GetConnectAttr GetCursorName GetData GetDescField "
    "GetDescRec GetDiagField GetDiagRec GetEnvAttr GetFunctions GetInfo GetStmtAttr "
    "GetTypeInfo MoreResults NativeSql NumParams NumResultCols ParamData Prepare "
    "PrimaryKeys ProcedureColumns Procedures PutData RowCount SetConnectAttr SetCursorName "
    "SetDescField SetDescRec SetEnvAttr SetPos SetStmtAttr SpecialColumns Statistics "
    "TablePrivileges Tables ";

TEST_F(NarrowShim, ExportsWhatEveryDriverHas)
{
    void* shim = dlopen(ORVELGW_NARROW_SHIM, RTLD_LAZY);
    for (const char* absent : {"SQLConnectW", "SQLBindParam", "SQLSetParam", "SQLError",
                               "SQLColAttributes", "SQLTransact", "SQLSetConnectOption"}) {
        EXPECT_EQ(dlsym(shim, absent), nullptr) << absent;
    }
    std::istringstream names(kExported);
    for (std::string name; names >> name;) {
        EXPECT_NE(dlsym(shim, ("SQL" + name).c_str()), nullptr) << name;
    }
    dlclose(shim);
}

#ifndef __SANITIZE_ADDRESS__  // which refuses what keeps the driver's calls inside it
TEST_F(NarrowShim, KeepsTheDriversCallsInsideIt)
{
    void* driver_manager = dlopen("libiodbc.so.2", RTLD_NOW | RTLD_GLOBAL);
    ASSERT_NE(driver_manager, nullptr);
    folder.Link(NARROW_DRIVER, "calling.so");
    const std::string connection = Connect(Copy("narrow-calling.so"));
    EXPECT_EQ(connection.size(), 8U) << List("GetSQLErrors", {"", ""});
    EXPECT_EQ(Code("Disconnect", {connection}), 0);
    dlclose(driver_manager);
}
#endif

TEST_F(NarrowShim, SaysWhyThereIsNoDriver)
{
    Dl_info library{};
    ASSERT_NE(dladdr(reinterpret_cast<void*>(&std::fopen), &library), 0);
    folder.Link(library.dli_fname, "libc.so.6");
    folder.Link(LoadedDriverManager().file, "libiodbc.so.2");
    const std::string self = Copy("narrow-self.so");
    folder.Link(self, "self.so");
    const std::pair<std::string, std::string> cases[] = {
        {Copy("narrow-nothing.so"), (folder.path / "nothing.so").string() + ": cannot open"},
        {Copy("narrow-nothing2.so"), "/odbc/nothing2.so: cannot open"},
        {Copy("narrow-libc.so.6"), "libc.so.6: no ODBC driver, as it has no SQLConnect"},
        {Copy("narrow-libiodbc.so.2"), "libiodbc.so.2: this is a driver manager"},
        {self, "self.so: this is the shim itself"},
        {Copy("shim.so"), "shim.so: a driver is named by a link to it"},
        {Copy("narrow-"), "a driver is named by a link to it"},
    };
    for (const auto& [driver, reason] : cases) {
        for (const int legacy : {0, 1, 0}) {
            Code("SetLegacyOption", {legacy});
            EXPECT_EQ(Connect(driver), "");
            EXPECT_EQ(WasError(), -1);
            const std::string line = List("GetSQLErrors", {"", ""});
            EXPECT_NE(line.find("(IM003)"), std::string::npos) << line;
            EXPECT_NE(line.find(reason), std::string::npos) << line;
        }
    }
}

}  // namespace
