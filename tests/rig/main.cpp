#include "rig/data.h"
#include "rig/library.h"

#include <gtest/gtest.h>
#include <iostream>

namespace {

/// After all tests: entries are written when the library is loaded and never again.
class Entries : public testing::Environment {
public:
    void TearDown() override
    {
        for (const std::string& entry : rig::changed_entries())
            ADD_FAILURE() << "the entry was written again: " << entry;
    }
};

} // namespace

int main(int argc, char** argv)
{
    testing::InitGoogleTest(&argc, argv);
    std::cout << "library " << rig::shipped() << "\nLIBSIMD_SEED=" << rig::seed() << std::endl;
    rig::gates_at_entries = true;
    testing::AddGlobalTestEnvironment(new Entries);
    return RUN_ALL_TESTS();
}
