{
  'targets': [
    {
      'target_name': 'ADDON_NAME',
      'sources': ['src/addon.cpp', '<!(node -p "require(\'zaxbase\').source")'],
      'cflags_cc': ['<!@(node -p "require(\'zaxbase\').flags.join(\' \')")'],
    },
  ],
}
