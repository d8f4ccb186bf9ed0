# Unit tests for another machine than this one: a program is one entry, since the emulator's start is what takes long.

# Tests that cannot pass under QEMU's user mode, by the program that they are in. Each needs its reason here.
#
# The emulator answers setrlimit without limiting the memory of the program in it:
set(not_emulated_utils ReadFileToChar.IsNullWhenMemoryIsShort)
set(not_emulated_data-tests DataTests.CalculateDeltaDoesNothingWithoutMemoryForBothRows)
set(not_emulated_vantu-fpingdq FpingdqRows.WithoutMemoryAreMissingAndLogged)
# Starts itself again, which this machine's kernel can only do for a program of its own:
set(not_emulated_vantu_ll_iproute HostIpDeathTest.IsEmptyAtFirst)

function(vantu_emulated_test module)
  list(JOIN not_emulated_${module} ":" left_out)
  add_test(NAME "${module}" COMMAND test-${module} --gtest_brief=1 --gtest_filter=-${left_out})
  set_tests_properties("${module}" PROPERTIES TIMEOUT 600)
endfunction()
