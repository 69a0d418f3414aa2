{
  'targets': [
    {
      'target_name': 'sqlite',
      'sources': [
        'src/connection.cpp',
        'src/sqlite.cpp',
        'src/statement.cpp',
        '<!(node -p "require(\'zaxbase\').source")',
      ],
      'cflags_cc': ['<!@(node -p "require(\'zaxbase\').flags.join(\' \')")'],
      'libraries': ['-lsqlite3'],
    },
  ],
}
