{
  'targets': [
    {
      'target_name': 'demo',
      'sources': ['weather.cpp', '<!(node -p "require(\'zaxbase\').source")'],
      'cflags_cc': ['<!@(node -p "require(\'zaxbase\').flags.join(\' \')")'],
    },
  ],
}
