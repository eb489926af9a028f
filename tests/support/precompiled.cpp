// Only to have the headers compiled: what linkapp_test takes them from has to be an executable, too.
