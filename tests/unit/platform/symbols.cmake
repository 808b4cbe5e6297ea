# Reads the symbol tables of the platform library: what it shows, and what its objects ask of others.
execute_process(COMMAND ${NM} -D --defined-only ${LIBRARY} OUTPUT_VARIABLE table COMMAND_ERROR_IS_FATAL ANY)
string(REGEX MATCHALL "[^ \n]+\n" shown "${table}")
string(REPLACE "\n" "" shown "${shown}")
list(SORT shown)
if(NOT shown STREQUAL "altEventLog;altEventLogM;read_i2c_data;write_i2c_data")
  message(FATAL_ERROR "the library shows: ${shown}")
endif()

execute_process(COMMAND ${NM} --undefined-only ${OBJECTS} OUTPUT_VARIABLE table COMMAND_ERROR_IS_FATAL ANY)
if(NOT table MATCHES " U open" OR NOT table MATCHES " U poll")
  message(FATAL_ERROR "the table of the objects' needs cannot be read: ${table}")
endif()
string(REGEX MATCHALL " U (_Zn[aw]|_Zd[al]|malloc|calloc|realloc|free|[a-z_]*printf|fopen|fwrite|fput|pthread_)[^\n]*"
  forbidden "${table}")
if(forbidden)
  message(FATAL_ERROR "not allowed in the library: ${forbidden}")
endif()
