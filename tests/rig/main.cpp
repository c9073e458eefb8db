#include "rig/data.h"
#include "rig/library.h"

#include <gtest/gtest.h>
#include <iostream>

int main(int argc, char** argv)
{
    testing::InitGoogleTest(&argc, argv);
    std::cout << "library " << rig::shipped() << "\nLIBSIMD_SEED=" << rig::seed() << std::endl;
    rig::gates_at_entries = true;
    return RUN_ALL_TESTS();
}
