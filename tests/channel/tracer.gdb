# Runs a program that uses libZinLogger, and prints a line "TRACED <probe>
# <arguments>" whenever a probe of the library is passed.
set confirm off
set pagination off
set width 0
set print elements 0
set debuginfod enabled off
handle all nostop noprint pass
# The library is loaded by then.
break main
run

break -probe-stap zinlogger:queue_drop
commands
  silent
  printf "TRACED queue_drop %s %lu %s", (char*)$_probe_arg0, $_probe_arg2, (char*)$_probe_arg1
  continue
end
break -probe-stap zinlogger:open_fail
commands
  silent
  printf "TRACED open_fail %s %d\n", (char*)$_probe_arg0, $_probe_arg1
  continue
end
break -probe-stap zinlogger:write_fail
commands
  silent
  printf "TRACED write_fail %d %lu %d\n", $_probe_arg0, $_probe_arg1, $_probe_arg2
  continue
end
break -probe-stap zinlogger:rename_fail
commands
  silent
  printf "TRACED rename_fail %s %s %d\n", (char*)$_probe_arg0, (char*)$_probe_arg1, $_probe_arg2
  continue
end
break -probe-stap zinlogger:rotate
commands
  silent
  printf "TRACED rotate %s %s\n", (char*)$_probe_arg0, (char*)$_probe_arg1
  continue
end
break -probe-stap zinlogger:retention_remove
commands
  silent
  printf "TRACED retention_remove %s %d\n", (char*)$_probe_arg0, $_probe_arg1
  continue
end
break -probe-stap zinlogger:stop_timeout
commands
  silent
  printf "TRACED stop_timeout %s\n", (char*)$_probe_arg0
  continue
end
continue
