{
  'targets': [
    {
      'target_name': 'ADDON_NAME',
      'sources': ['src/addon.cpp'],
      'dependencies': ['<!(node -p "require(\'zaxbase\').targets")'],
    },
  ],
}
