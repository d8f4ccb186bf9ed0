# The configuration store: packages of sections, which hold options and lists. Runs
# under BusyBox's awk as
#
#   awk -f store.awk VERB CONFIG_DIRECTORY PENDING_DIRECTORY [ARGUMENT...]
#
# and is all that `uci` does but for the file of a commit, and what the bus's object
# uci answers. A package is read from its file, and the changes that wait for a commit
# from the file of the same name in the pending directory, a record a line.
#
# Ends with 1 and a message where uci does; for the verb reply with the bus's status;
# for the verb commit with 3 when there is nothing to write.

# --- words ---------------------------------------------------------------------

# Both files are words, bare or quoted; a quoted one may go on over line ends. rest is
# what is left of the line, wrong why the file cannot be read.

function more() {
	if ((getline rest < source) <= 0)
		return 0
	at++
	return 1
}

function in_single_quotes(   text, end) {
	rest = substr(rest, 2)
	while (!(end = index(rest, "'"))) {
		text = text rest "\n"
		if (!more()) {
			wrong = "EOF with unterminated '"
			return text
		}
	}
	text = text substr(rest, 1, end - 1)
	rest = substr(rest, end + 1)
	return text
}

# The character behind a backslash; none when that is the line's end.
function escaped(   char) {
	rest = substr(rest, 2)
	if (rest == "") {
		more()
		return ""
	}
	char = substr(rest, 1, 1)
	rest = substr(rest, 2)
	return char
}

function in_double_quotes(   text) {
	rest = substr(rest, 2)
	for (;;) {
		if (!match(rest, /["\\]/)) {
			text = text rest "\n"
			if (!more()) {
				wrong = "EOF with unterminated \""
				return text
			}
			continue
		}
		text = text substr(rest, 1, RSTART - 1)
		rest = substr(rest, RSTART)
		if (substr(rest, 1, 1) == "\"")
			break
		text = text escaped()
	}
	rest = substr(rest, 2)
	return text
}

function bare(   text) {
	match(rest, /^[^ \t\r#'"\\]+/)
	text = substr(rest, 1, RLENGTH)
	rest = substr(rest, RLENGTH + 1)
	return text
}

function take_word(   text, char) {
	while (rest !~ /^([ \t\r#]|$)/ && !wrong) {
		char = substr(rest, 1, 1)
		if (char == "'")
			text = text in_single_quotes()
		else if (char == "\"")
			text = text in_double_quotes()
		else if (char == "\\")
			text = text escaped()
		else
			text = text bare()
	}
	return text
}

# Fills word[1] ... and returns how many there are.
function split_line(   n) {
	for (;;) {
		sub(/^[ \t\r]+/, "", rest)
		if (rest ~ /^(#|$)/ || wrong)
			return n
		word[++n] = take_word()
	}
}

# --- the package in memory -----------------------------------------------------

# Sections are numbered as they are made, and the numbers of deleted ones stay unused;
# so do those of a section's options.

# A section without a name gets one of its number and a hash of its type.
function made_up_name(type,   hash, i) {
	if (!ordinal["a"])
		for (i = 33; i < 127; i++)
			ordinal[sprintf("%c", i)] = i
	hash = 5381
	for (i = 1; i <= length(type); i++)
		hash = (hash * 33 + ordinal[substr(type, i, 1)]) % 65536
	return sprintf("cfg%02x%04x", sections + 1, hash)
}

function add_section(type, name, unnamed) {
	section_at[name] = ++sections
	section_name[sections] = name
	section_type[sections] = type
	anonymous[sections] = unnamed
	return sections
}

function delete_section(s) {
	delete section_at[section_name[s]]
	section_name[s] = ""
}

# Returns the number of the option, which is a new one where there was none.
function need_option(s, name) {
	if (!option_at[s, name]) {
		option_at[s, name] = ++options[s]
		option_name[s, options[s]] = name
	}
	return option_at[s, name]
}

function set_option(s, name, value,   o) {
	o = need_option(s, name)
	is_list[s, o] = 0
	items[s, o] = 1
	item[s, o, 1] = value
}

function add_item(s, name, value,   o) {
	o = need_option(s, name)
	is_list[s, o] = 1
	item[s, o, ++items[s, o]] = value
}

function delete_option(s, name,   o) {
	o = option_at[s, name]
	option_name[s, o] = ""
	items[s, o] = 0
	option_at[s, name] = 0
}

function delete_item(s, o, place,   i) {
	if (place < 1 || place > items[s, o])
		return
	for (i = place; i < items[s, o]; i++)
		item[s, o, i] = item[s, o, i + 1]
	items[s, o]--
}

function delete_equal_items(s, o, value,   i) {
	for (i = items[s, o]; i > 0; i--)
		if (item[s, o, i] == value)
			delete_item(s, o, i)
}

# Sets s to the section that WHERE names, 0 when there is none. Returns 0 for what is
# no name: "@type" without a number.
function find_section(where,   type, place, i, found) {
	s = 0
	if (where !~ /^@/) {
		s = section_at[where] + 0
		return where ~ /^[A-Za-z0-9_]+$/
	}
	if (where !~ /^@[!-Z\\^-~]*\[[ \t]*-?[0-9]*\]$/)
		return 0
	place = index(where, "[")
	type = substr(where, 2, place - 2)
	place = substr(where, place + 1) + 0
	for (i = 1; i <= sections; i++)
		if (section_name[i] != "" && (type == "" || section_type[i] == type))
			match_at[++found] = i
	if (place < 0)
		place += found
	if (place >= 0 && place < found)
		s = match_at[place + 1]
	return 1
}

# --- reading -------------------------------------------------------------------

function read_section(type, name) {
	if (type !~ /^[!-~]+$/)
		wrong = "invalid character in type field"
	else if (name == "")
		current = add_section(type, made_up_name(type), 1)
	else if (name !~ /^[A-Za-z0-9_]+$/)
		wrong = "invalid character in name field"
	else if (!section_at[name])
		current = add_section(type, name, 0)
	else if (section_type[section_at[name]] == type)
		current = section_at[name]
	else
		wrong = "section of different type overwrites prior section with same name"
}

function read_option(keyword, name, value) {
	if (!current)
		wrong = "option/list command found before the first section"
	else if (name !~ /^[A-Za-z0-9_]+$/)
		wrong = "invalid character in name field"
	else if (keyword == "list")
		add_item(current, name, value)
	else if (value != "")
		set_option(current, name, value)
}

function read_command(n) {
	if (word[1] == "package")
		return
	if (word[1] !~ /^(config|option|list)$/ || n < 2)
		wrong = "invalid command"
	else if (n > 3)
		wrong = "too many arguments"
	else if (word[1] == "config")
		read_section(word[2], n > 2 ? word[3] : "")
	else
		read_option(word[1], word[2], n > 2 ? word[3] : "")
}

# Returns 0, 3 for a file that is missing or 5 for one that is malformed.
function read_package(   n) {
	source = confdir "/" package
	if ((getline rest < source) < 0)
		return 3
	close(source)
	current = 0
	at = 0
	wrong = ""
	while (!wrong && more()) {
		n = split_line()
		if (n && !wrong)
			read_command(n)
	}
	close(source)
	if (wrong)
		return 5
	read_pending()
	return 0
}

# A record that does not fit is passed over.
function read_pending(   record) {
	source = savedir "/" package
	while (more()) {
		if (split_line() == 1 && !wrong)
			apply(word[1])
		wrong = ""
	}
	close(source)
}

function apply(record,   sign, path, value, part, equals) {
	sign = substr(record, 1, 1)
	if (sign ~ /[-+|~]/)
		record = substr(record, 2)
	else
		sign = ""
	equals = index(record, "=")
	path = equals ? substr(record, 1, equals - 1) : record
	value = equals ? substr(record, equals + 1) : ""
	if (split(path, part, ".") < 2 || part[1] != package)
		return
	s = section_at[part[2]] + 0
	if (part[3] == "")
		applied += apply_to_section(sign, part[2], value)
	else if (s)
		applied += apply_to_option(sign, part[3], value)
}

function apply_to_section(sign, name, value) {
	if (sign == "-") {
		if (s)
			delete_section(s)
		return s > 0
	}
	if (value !~ /^[!-~]+$/ || name !~ /^[A-Za-z0-9_]+$/)
		return 0
	if (s)
		section_type[s] = value
	else
		add_section(value, name, sign == "+")
	return 1
}

function apply_to_option(sign, name, value,   o) {
	o = option_at[s, name]
	if (sign == "|")
		add_item(s, name, value)
	else if (sign == "")
		set_option(s, name, value)
	else if (!o)
		return 0
	else if (sign == "~")
		delete_equal_items(s, o, value)
	else if (is_list[s, o] && value != "")
		delete_item(s, o, value + 1)
	else
		delete_option(s, name)
	return 1
}

# --- the verbs of uci ----------------------------------------------------------

function fail(text) {
	if (ENVIRON["UCI_QUIET"] == "")
		printf "uci: %s\n", text >"/dev/stderr"
	exit 1
}

function need_package(   status) {
	status = read_package()
	if (status == 3)
		fail("Entry not found")
	if (status == 5)
		fail(sprintf("Parse error (%s) at line %d, byte 0", wrong, at))
}

# Takes PACKAGE[.SECTION[.OPTION]][=VALUE] apart and reads the package.
function open_path(path,   part, equals, parts) {
	equals = index(path, "=")
	has_value = equals > 0
	value = has_value ? substr(path, equals + 1) : ""
	if (has_value)
		path = substr(path, 1, equals - 1)
	parts = split(path, part, ".")
	package = part[1]
	where = part[2]
	option = part[3]
	if (parts > 3 || package !~ /^[!-.0-~]+$/ || path ~ /\.$/ || option !~ /^[A-Za-z0-9_]*$/)
		fail("Parse error")
	need_package()
	s = o = 0
	if (parts > 1 && !find_section(where))
		fail("Invalid argument")
	if (s && parts > 2)
		o = option_at[s, option] + 0
}

function quoted(text,   parts, n, i, all) {
	n = split(text, parts, "'")
	all = parts[1]
	for (i = 2; i <= n; i++)
		all = all "'\\''" parts[i]
	return "'" all "'"
}

function note(sign, path, value) {
	printf "%s%s.%s%s\n", sign, package, path, value >>(savedir "/" package)
}

function path_of(s, o) {
	return section_name[s] (o == "" ? "" : "." o)
}

function get() {
	if (where == "")
		fail("Invalid argument")
	if (!s || option != "" && !o)
		fail("Entry not found")
	print option == "" ? section_type[s] : items_of(s, o, " ", 0)
}

function items_of(s, o, between, quote,   i, all) {
	for (i = 1; i <= items[s, o]; i++)
		all = all (i > 1 ? between : "") (quote ? quoted(item[s, o, i]) : item[s, o, i])
	return all
}

# Sections without a name are shown by their type and place, which are found again.
function shown_name(s,   i, place) {
	if (!anonymous[s])
		return section_name[s]
	for (i = 1; i < s; i++)
		place += section_name[i] != "" && section_type[i] == section_type[s]
	return sprintf("@%s[%d]", section_type[s], place)
}

function show_option(s, o) {
	if (items[s, o])
		printf "%s.%s.%s=%s\n", package, shown_name(s), option_name[s, o], items_of(s, o, " ", 1)
}

function show_section(s,   i) {
	if (section_name[s] == "")
		return
	printf "%s.%s=%s\n", package, shown_name(s), section_type[s]
	for (i = 1; i <= options[s]; i++)
		show_option(s, i)
}

function show(   i) {
	if (where != "" && (!s || option != "" && !o))
		fail("Entry not found")
	if (o)
		show_option(s, o)
	else if (s)
		show_section(s)
	else
		for (i = 1; i <= sections; i++)
			show_section(i)
}

function set() {
	if (!has_value || where == "" || option != "" && !s)
		fail("Invalid argument")
	if (value == "")
		remove()
	else if (option == "")
		set_section()
	else if (!o || is_list[s, o] || item[s, o, 1] != value)
		note("", path_of(s, option), "=" quoted(value))
}

function set_section() {
	if (value !~ /^[!-~]+$/ || !s && where ~ /^@/)
		fail("Invalid argument")
	if (!s || section_type[s] != value)
		note("", s ? path_of(s) : where, "=" quoted(value))
}

# Deletes what is there: a section, an option, or with a number an item of a list.
function remove() {
	if (option == "" ? s : o)
		note("-", path_of(s, option), o && is_list[s, o] && value != "" ? "=" quoted(value) : "")
}

function delete_entry() {
	if (where == "")
		fail("Invalid argument")
	if (option == "" ? !s : !o)
		fail("Entry not found")
	if (o && is_list[s, o] && value !~ /^[0-9]*$/)
		fail("Invalid argument")
	remove()
}

function change_list(sign) {
	if (!s || option == "" || value == "" && sign == "~")
		fail("Invalid argument")
	if (sign == "|" || o && is_list[s, o])
		note(sign, path_of(s, option), "=" quoted(value))
}

function add(type,   name) {
	need_package()
	if (type !~ /^[!-~]+$/)
		fail("Invalid argument")
	name = made_up_name(type)
	note("+", name, "=" quoted(type))
	print name
}

# Prints the records that wait, in the form that is shown to people.
function changes(   sign, record, equals) {
	source = savedir "/" package
	while (more()) {
		if (split_line() != 1)
			continue
		record = word[1]
		sign = substr(record, 1, 1)
		if (sign ~ /[+|~]/)
			record = substr(record, 2)
		equals = index(record, "=")
		if (!equals) {
			print record
			continue
		}
		printf "%s%s=%s\n", substr(record, 1, equals - 1), sign == "|" ? "+" : sign == "~" ? "-" : "",
			quoted(substr(record, equals + 1))
	}
}

# Prints the file with all changes made.
function commit(   i, j, k) {
	need_package()
	if (!applied)
		exit 3
	for (i = 1; i <= sections; i++) {
		if (section_name[i] == "")
			continue
		printf "\nconfig %s%s\n", section_type[i], anonymous[i] ? "" : " " quoted(section_name[i])
		for (j = 1; j <= options[i]; j++)
			for (k = 1; k <= items[i, j]; k++)
				printf "\t%s %s %s\n", is_list[i, j] ? "list" : "option", option_name[i, j],
					quoted(item[i, j, k])
	}
	printf "\n"
}

# --- the bus's object ----------------------------------------------------------

function text_of(value,   i, char, all) {
	if (value !~ /["\\\001-\037]/)
		return "\"" value "\""
	for (i = 1; i <= length(value); i++) {
		char = substr(value, i, 1)
		if (char ~ /["\\]/)
			char = "\\" char
		else if (char ~ /[\001-\037]/)
			char = control(char)
		all = all char
	}
	return "\"" all "\""
}

function control(char,   i) {
	i = index("\b\t\n\f\r", char)
	if (i)
		return "\\" substr("btnfr", i, 1)
	for (i = 1; sprintf("%c", i) != char; i++)
		;
	return sprintf("\\u%04x", i)
}

function value_of(s, o,   i, all) {
	if (!is_list[s, o])
		return text_of(item[s, o, 1])
	for (i = 1; i <= items[s, o]; i++)
		all = all (i > 1 ? "," : "") text_of(item[s, o, i])
	return "[" all "]"
}

# PLACE is the section's in the package; none when it is asked for alone.
function section_value(s, place,   i, all) {
	all = sprintf("{\".anonymous\":%s,\".type\":%s,\".name\":%s%s", anonymous[s] ? "true" : "false",
		text_of(section_type[s]), text_of(section_name[s]), place == "" ? "" : ",\".index\":" place)
	for (i = 1; i <= options[s]; i++)
		if (items[s, i])
			all = all "," text_of(option_name[s, i]) ":" value_of(s, i)
	return all "}"
}

function package_value(   i, place, all) {
	for (i = 1; i <= sections; i++)
		if (section_name[i] != "")
			all = all (all == "" ? "" : ",") text_of(section_name[i]) ":" section_value(i, place++ + 0)
	return "{" all "}"
}

# What is not there is no failure: then nothing is printed.
function reply(   status) {
	status = read_package()
	if (status)
		exit status == 3 ? 4 : 9
	if (where == "") {
		printf "{\"values\":%s}\n", package_value()
		return
	}
	find_section(where)
	if (!s)
		return
	if (option == "")
		printf "{\"values\":%s}\n", section_value(s, "")
	else if (items[s, option_at[s, option]])
		printf "{\"value\":%s}\n", value_of(s, option_at[s, option])
}

BEGIN {
	verb = ARGV[1]
	confdir = ARGV[2]
	savedir = ARGV[3]
	package = ARGV[4]
	if (verb ~ /^(get|show|set|delete|add_list|del_list)$/)
		open_path(ARGV[4])
	if (verb == "get")
		get()
	else if (verb == "show")
		show()
	else if (verb == "set")
		set()
	else if (verb == "delete")
		delete_entry()
	else if (verb == "add_list")
		change_list("|")
	else if (verb == "del_list")
		change_list("~")
	else if (verb == "add")
		add(ARGV[5])
	else if (verb == "changes")
		changes()
	else if (verb == "commit")
		commit()
	else if (verb == "reply") {
		where = ARGV[5]
		option = ARGV[6]
		reply()
	}
	exit 0
}
