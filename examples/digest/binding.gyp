{
  'targets': [
    {
      'target_name': 'digest',
      'sources': ['src/digest.cpp', '<!(node -p "require(\'zaxbase\').source")'],
      'cflags_cc': ['<!@(node -p "require(\'zaxbase\').flags.join(\' \')")'],
    },
  ],
}
