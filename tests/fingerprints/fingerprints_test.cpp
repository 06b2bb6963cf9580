// Compares every case with its row of tests/data/fingerprints.tsv. With KESTR_FINGERPRINTS set to a
// path, the table as this build has it is written there, to be looked at before it is taken over.

#include <cstdlib>
#include <fstream>
#include <map>
#include <sstream>

#include <gmock/gmock.h>

#include "support/fingerprint.h"
#include "support/test_data.h"

namespace kestr::test {
namespace {

std::map<std::string, std::string> Table() {
    std::map<std::string, std::string> table;
    std::ifstream in(TestData("fingerprints.tsv"));
    for (std::string line; std::getline(in, line);) {
        const size_t tab = line.find('\t');
        if (tab != std::string::npos) table[line.substr(0, tab)] = line.substr(tab + 1);
    }
    return table;
}

TEST(Fingerprints, AreThoseOfEveryOtherBuild) {
    std::map<std::string, std::string> expected = Table();
    std::map<std::string, std::string> found;
    for (const CFingerprintCase& c : CFingerprints::All()) {
        SCOPED_TRACE(c.name);
        CHandle handle;
        c.picture(handle);
        EXPECT_FALSE(found.contains(c.name)) << "named twice: " << c.name;
        found[c.name] = FingerprintOf(handle);
    }
    if (const char* path = std::getenv("KESTR_FINGERPRINTS")) {
        std::ofstream out(path);
        for (const auto& [name, hashes] : found) out << name << '\t' << hashes << '\n';
    }
    EXPECT_EQ(found, expected);
    EXPECT_GT(found.size(), 10u);
}

}  // namespace
}  // namespace kestr::test
