# Where things lie once installed, and in the build tree as they do then: programs find the schema from where
# they lie themselves.
include(GNUInstallDirs)
set(program_dir ${CMAKE_INSTALL_BINDIR})
set(data_dir ${CMAKE_INSTALL_DATADIR}/tarn_cli_mqc)
if(IS_ABSOLUTE "${program_dir}" OR IS_ABSOLUTE "${data_dir}")
  set(program_dir ${CMAKE_INSTALL_FULL_BINDIR})
  set(data_dir ${CMAKE_INSTALL_FULL_DATADIR}/tarn_cli_mqc)
endif()
file(RELATIVE_PATH data_from_program /prefix/${program_dir} /prefix/${data_dir})
set(built_program_dir ${PROJECT_BINARY_DIR}/${program_dir})
set(built_data_dir ${PROJECT_BINARY_DIR}/${data_dir})
