// Extension folders that hold more than bundles: everything that POSIX systems can put into a folder.

#include "InstallAndStartTest.hpp"

#include "BundleFiles.h"

#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <system_error>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace foundation::cppmicroservices {
namespace {

namespace fs = std::filesystem;
using bundle_test::bundle;
using bundle_test::TemporaryFolder;
using bundle_test::text;
using bundle_test::writeFile;
using bundle_test::writeZip;
using installation_test::names;
using testing::ElementsAre;
using testing::IsEmpty;

std::string reason(std::errc error) {
    return std::make_error_code(error).message();
}

void makePipe(fs::path const& file) {
    if (mkfifo(file.c_str(), 0600) != 0) throw std::system_error(errno, std::generic_category(), "mkfifo");
}

/// A socket in the file system, which stays when it is closed.
void makeSocket(fs::path const& file) {
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    if (file.native().size() >= sizeof address.sun_path)
        throw std::length_error("too long: " + file.native());
    std::copy(file.native().begin(), file.native().end(), address.sun_path);
    int const handle = socket(AF_UNIX, SOCK_STREAM, 0);
    bool const isMade = bind(handle, reinterpret_cast<sockaddr const*>(&address), sizeof address) == 0;
    close(handle);
    if (!isMade) throw std::system_error(errno, std::generic_category(), "bind");
}

class AHostileFolder : public installation_test::InstallAndStart {
protected:
    /// The record of a file of the folder that was left out.
    std::string leftOut(std::string const& name, std::string const& why) const {
        return "left out " + text(folder / name) + ": " + why;
    }

    TemporaryFolder elsewhere;
};

TEST_F(AHostileFolder, GivesTheBundlesThatLinksLeadTo) {
    writeZip(elsewhere.path() / "a", bundle("a"));
    fs::create_symlink(elsewhere.path() / "a", folder / "a.zip");
    writeZip(folder / "b.zip", bundle("b"));
    fs::create_symlink(folder / "a.zip", folder / "link_to_a_link.not_a_bundle");
    auto const bundles = installAndStart("bundles");
    EXPECT_THAT(names(bundles), ElementsAre("a", "b"));
    EXPECT_EQ(bundles.at(0).GetLocation(), text(folder / "a.zip")) << "where it was found";
    EXPECT_THAT(logged(), IsEmpty());
}

TEST_F(AHostileFolder, MayItselfBeALink) {
    writeZip(elsewhere.path() / "a.zip", bundle("a"));
    fs::create_directory_symlink(elsewhere.path(), root.path() / "link");
    EXPECT_THAT(names(installAndStart("link")), ElementsAre("a"));
    EXPECT_THAT(logged(), IsEmpty());
}

TEST_F(AHostileFolder, MustNotBeALinkThatLeadsToItself) {
    fs::create_directory_symlink(root.path() / "loop", root.path() / "loop");
    EXPECT_THAT(installAndStart("loop"), IsEmpty());
    EXPECT_THAT(logged(),
                ElementsAre("left out " + text(root.path() / "loop") + ": " +
                            reason(std::errc::too_many_symbolic_link_levels)));
}

TEST_F(AHostileFolder, OpensNothingButFiles) {
    // To open a pipe without a writer, or to connect, would take for ever; the device has no end.
    makePipe(folder / "a_pipe.so");
    makeSocket(folder / "b_socket.so");
    fs::create_symlink("/dev/zero", folder / "c_device.so");
    fs::create_symlink(folder / "a_pipe.so", folder / "d_link_to_a_pipe.zip");
    fs::create_symlink(folder / "missing", folder / "e_link_to_nothing.zip");
    fs::create_symlink("f_loop.dll", folder / "f_loop.dll");
    fs::create_directory(folder / "g_folder.so");
    fs::create_directory_symlink(folder, folder / "h_link_to_its_own_folder.so");
    writeZip(folder / "z.zip", bundle("z"));

    EXPECT_THAT(names(installAndStart("bundles")), ElementsAre("z"));
    EXPECT_THAT(logged(),
                testing::UnorderedElementsAre(
                    leftOut("a_pipe.so", "it is no file"),
                    leftOut("b_socket.so", "it is no file"),
                    leftOut("c_device.so", "it is no file"),
                    leftOut("d_link_to_a_pipe.zip", "it is no file"),
                    leftOut("e_link_to_nothing.zip", reason(std::errc::no_such_file_or_directory)),
                    leftOut("f_loop.dll", reason(std::errc::too_many_symbolic_link_levels))))
        << "folders are no bundles and no mistakes";
}

TEST_F(AHostileFolder, MayHoldOneBundleUnderSeveralNames) {
    writeZip(folder / "a.zip", bundle("a"));
    fs::create_symlink("a.zip", folder / "b.zip");
    fs::create_hard_link(folder / "a.zip", folder / "c.zip");
    writeZip(folder / "z.zip", bundle("z"));
    EXPECT_THAT(names(installAndStart("bundles")), ElementsAre("a", "z"));
    auto const lines = logged();
    ASSERT_EQ(lines.size(), 2U);
    EXPECT_THAT(lines[0], testing::StartsWith(leftOut("b.zip", "")));
    EXPECT_THAT(lines[1], testing::StartsWith(leftOut("c.zip", "")));
    EXPECT_THAT(lines[1], testing::HasSubstr("already installed"));
}

TEST_F(AHostileFolder, MayHoldNamesOfAnyBytes) {
    std::vector<std::string> expected;
    for (int byte = 1; byte < 256; ++byte) {
        if (byte == '/') continue;
        std::string const name = "bundle " + std::to_string(byte);
        writeZip(folder / (std::string(1, static_cast<char>(byte)) + ".zip"), bundle(name));
        expected.push_back(name);
    }
    EXPECT_THAT(names(installAndStart("bundles")), testing::UnorderedElementsAreArray(expected));
    EXPECT_THAT(logged(), IsEmpty());
}

/// Without the superuser's right to read everything, as long as it exists.
class AsAnyUser {
public:
    AsAnyUser() {
        if (isSuperuser_ && seteuid(65534) != 0) {
            throw std::runtime_error(
                "the superuser, who may read everything, cannot become another user here");
        }
    }
    AsAnyUser(AsAnyUser const&) = delete;
    AsAnyUser& operator=(AsAnyUser const&) = delete;
    ~AsAnyUser() {
        if (isSuperuser_ && seteuid(0) != 0) ADD_FAILURE() << "the rights cannot be taken back";
    }

private:
    bool const isSuperuser_ = geteuid() == 0;
};

TEST_F(AHostileFolder, MayHoldFilesThatCannotBeRead) {
    writeZip(folder / "a.zip", bundle("a"));
    writeZip(folder / "b.zip", bundle("b"));
    fs::permissions(folder / "a.zip", fs::perms::none);
    AsAnyUser const user;
    EXPECT_THAT(names(installAndStart("bundles")), ElementsAre("b"));
    auto const lines = logged();
    ASSERT_EQ(lines.size(), 1U);
    EXPECT_THAT(lines[0], testing::StartsWith(leftOut("a.zip", "")));
    EXPECT_GT(lines[0].size(), leftOut("a.zip", "").size()) << "there is a reason";
}

TEST_F(AHostileFolder, MayBeOneThatCannotBeRead) {
    writeZip(folder / "a.zip", bundle("a"));
    struct Row {
        char const* says;
        fs::perms rights;
        std::string message;
    };
    std::string const denied = reason(std::errc::permission_denied);
    Row const rows[] = {
        {"nothing is allowed", fs::perms::none, "left out " + text(folder) + ": " + denied},
        {"its names may be read only",
         fs::perms::owner_read | fs::perms::group_read | fs::perms::others_read,
         leftOut("a.zip", denied)},
    };
    for (Row const& row : rows) {
        SCOPED_TRACE(row.says);
        log.clear();
        fs::permissions(folder, row.rights);
        AsAnyUser const user;
        EXPECT_THAT(installAndStart("bundles"), IsEmpty());
        EXPECT_THAT(logged(), ElementsAre(row.message));
    }
    fs::permissions(folder, fs::perms::owner_all);
}

}  // namespace
}  // namespace foundation::cppmicroservices
