# SPDX-License-Identifier: MIT
# Completion for fish. The program says what may come next: lines of words, each with a tabulator and its
# description.

function __vx310ctl_words
    set --local words (commandline --tokenize --cut-at-cursor --current-process)
    for line in ($words[1] --complete $words[2..] (commandline --current-token --cut-at-cursor) 2>/dev/null)
        if test "$line" = :files
            __fish_complete_path (commandline --current-token)
        else
            echo $line
        end
    end
end
complete --command vx310ctl --no-files --arguments '(__vx310ctl_words)'
