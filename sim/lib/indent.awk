# Lays JSON out as the bus's command shows it to people: a member a line, tabs, and a
# blank behind the colon. An empty object or array is spread over three lines, too.

function new_line(   i) {
	printf "\n"
	for (i = 0; i < depth; i++)
		printf "\t"
}

{
	rest = $0
	while (match(rest, /^("([^"\\]|\\.)*"|[][{},:]|[^][{},:"]+)/)) {
		token = substr(rest, 1, RLENGTH)
		rest = substr(rest, RLENGTH + 1)
		if (token ~ /^[]}]$/) {
			depth--
			new_line()
		}
		printf "%s%s", token, token == ":" ? " " : ""
		if (token ~ /^[[{]$/)
			depth++
		if (token ~ /^[[{,]$/)
			new_line()
	}
	printf "\n"
}
