{
  'targets': [
    {
      'target_name': 'words',
      'sources': ['src/words.cpp', '<!(node -p "require(\'zaxbase\').source")'],
      'cflags_cc': ['<!@(node -p "require(\'zaxbase\').flags.join(\' \')")'],
    },
  ],
}
