// The configuration store with packages of a test's own, for as long as it lives.
#pragma once

#include "support.hpp"

#include "vantu-libs2/vantu-uci.h"

#include <gtest/gtest.h>

#include <string>
#include <uci.h>

namespace support
{

class store
{
public:
    store()
    {
        EXPECT_EQ(vantu_uci_init(), E_OK);
        EXPECT_EQ(uci_set_confdir(vantu_get_uci_context(), dir_.path().c_str()), UCI_OK);
    }
    ~store() { vantu_routercfg_close(); }
    store(const store &) = delete;
    store &operator=(const store &) = delete;

    void has(const std::string &package, const std::string &content) const { write_file(dir_ / package, content); }

private:
    quiet_log quiet_;
    temp_dir dir_;
};

} // namespace support
