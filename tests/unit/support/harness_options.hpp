// The options of the harness, for a program that tests parts of it without the entry, in which they stand. For one
// source file of a program.
#pragma once

#include "harness.h"

char option_csvfile[256];
char option_platformfile[128];
char option_function[128];
char option_macaddress[128];
char option_radio[128];
char option_websocket_ip[17];
int verbose_flag = 1;
