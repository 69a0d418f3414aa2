{
  'targets': [
    {
      'target_name': 'digest',
      'sources': ['src/digest.cpp'],
      'dependencies': ['<!(node -p "require(\'zaxbase\').targets")'],
    },
  ],
}
