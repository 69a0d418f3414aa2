{
  'targets': [
    {
      'target_name': 'words',
      'sources': ['src/words.cpp'],
      'dependencies': ['<!(node -p "require(\'zaxbase\').targets")'],
    },
  ],
}
