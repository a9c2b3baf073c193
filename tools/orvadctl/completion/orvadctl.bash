# Completion of orvadctl's command lines, for bash. What can follow is known to
# the program: it asks the daemon for the ports, and says nothing when it cannot
# be reached.

_orvadctl()
{
	local word

	COMPREPLY=()
	while IFS= read -r word; do
		if [[ $word == / ]]; then
			compopt -o default -o filenames
		else
			COMPREPLY+=("$word")
		fi
	done < <("$1" complete -- "${COMP_WORDS[@]:1:COMP_CWORD}" 2>/dev/null)
}

complete -F _orvadctl orvadctl
